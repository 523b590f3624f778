// Writes the seed corpora of the fuzz targets: records of buckets and values
// of every kind, registry directories in the states a registry passes
// through (new, several blocks, a lost mark, a compaction's switch), and
// export documents. The seeds are checked in under fuzz/corpus; run this
// again when a record or the file format changes:
//
//   build-fuzz/fuzz/tarnhive_fuzz_seeds fuzz/corpus
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include "FuzzSupport.h"
#include "RegistryInput.h"
#include "Session.h"
#include "Transfer.h"
#include "bucket/Bucket.h"
#include "bucket/BucketValue.h"
#include "manager/BucketManager.h"
#include "vesk/orlo/StringConversion.h"

using namespace vesk::tarnhive;
using namespace vesk::tarnhive::fuzz;
using vesk::orlo::NarrowString;
using vesk::orlo::RefPtr;
using vesk::orlo::WideString;
namespace fs = std::filesystem;

namespace {

WideString widePath(const fs::path& path) {
  return vesk::orlo::toWide(vesk::orlo::NarrowString(path.c_str()));
}

void writeSeed(const fs::path& corpus, const std::string& name, const std::string& bytes) {
  fs::create_directories(corpus);
  std::ofstream(corpus / name, std::ios::binary)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string text(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// One value of every kind, a few elements to each array; a string with a
// surrogate pair and one with an unpaired surrogate, and a NaN.
void fillEveryKind(IBucket& bucket) {
  TarnhiveStatus s;
  const WideString strings[] = {u"x", u"\xD83D\xDE00", u"\xDC00"};
  const NarrowString narrows[] = {NarrowString("ab"), NarrowString("")};
  const bool bools[] = {true, false};
  const std::int8_t i8[] = {-1, 2};
  const std::uint8_t u8[] = {255, 0};
  const std::int16_t i16[] = {-300};
  const std::uint16_t u16[] = {65535};
  const std::int32_t i32[] = {-70000, 1};
  const std::uint32_t u32[] = {4000000000u};
  const std::int64_t i64[] = {-5000000000};
  const std::uint64_t u64[] = {18000000000000000000u};
  const float f32[] = {1.5f, -0.0f};
  const double f64[] = {0.25, __builtin_nan("")};
  const std::uint8_t blob[] = {1, 2, 0xFE, 0xFF};
  bucket.setDigest(u"digest", Digest(WideString(u"/elsewhere")), &s, true);
  bucket.setAnsiString(u"narrow", NarrowString("caf\xE9"), &s, true);
  bucket.setString(u"wide", strings[1], &s, true);
  bucket.setString(u"unpaired", strings[2], &s, true);
  bucket.setBlob(u"blob", blob, sizeof blob, &s, true);
  bucket.setBool(u"bool", true, &s, true);
  bucket.setInt8(u"int8", -8, &s, true);
  bucket.setUInt8(u"uint8", 200, &s, true);
  bucket.setInt16(u"int16", -16, &s, true);
  bucket.setUInt16(u"uint16", 60000, &s, true);
  bucket.setInt32(u"int32", -32, &s, true);
  bucket.setUInt32(u"uint32", 3000000000u, &s, true);
  bucket.setInt64(u"int64", -64, &s, true);
  bucket.setUInt64(u"uint64", 10000000000000000000u, &s, true);
  bucket.setFloat32(u"float32", 1.25f, &s, true);
  bucket.setFloat64(u"float64", -2.5, &s, true);
  bucket.setAnsiStringArray(u"narrows", narrows, 2, &s, true);
  bucket.setStringArray(u"strings", strings, 3, &s, true);
  bucket.setBoolArray(u"bools", bools, 2, &s, true);
  bucket.setInt8Array(u"int8s", i8, 2, &s, true);
  bucket.setUInt8Array(u"uint8s", u8, 2, &s, true);
  bucket.setInt16Array(u"int16s", i16, 1, &s, true);
  bucket.setUInt16Array(u"uint16s", u16, 1, &s, true);
  bucket.setInt32Array(u"int32s", i32, 2, &s, true);
  bucket.setUInt32Array(u"uint32s", u32, 1, &s, true);
  bucket.setInt64Array(u"int64s", i64, 1, &s, true);
  bucket.setUInt64Array(u"uint64s", u64, 1, &s, true);
  bucket.setFloat32Array(u"float32s", f32, 2, &s, true);
  bucket.setFloat64Array(u"float64s", f64, 2, &s, true);
  expect(!failed(&s), "the sample values are set");
}

void bucketSeeds(const fs::path& corpus) {
  RefPtr<Bucket> empty(new Bucket(WideString(u"/a"), true));
  writeSeed(corpus, "empty", text(recordOf(*empty)));
  RefPtr<Bucket> every(new Bucket(WideString(u"/Acme/Every"), true));
  fillEveryKind(*every);
  writeSeed(corpus, "every-kind", text(recordOf(*every)));
  RefPtr<Bucket> odd(new Bucket(WideString(u"/s\xD800/\x00E9t\x00E9"), true));
  TarnhiveStatus s;
  odd->setInt32(u"Name", 1, &s, true);
  odd->setInt32(u"other", 2, &s, true);
  writeSeed(corpus, "surrogate-name", text(recordOf(*odd)));
}

void valueSeeds(const fs::path& corpus) {
  RefPtr<Bucket> every(new Bucket(WideString(u"/v"), true));
  fillEveryKind(*every);
  for (const char16_t* name : {u"digest", u"narrow", u"wide", u"blob", u"bool", u"int64",
                               u"float64", u"strings", u"narrows", u"int32s", u"bools"}) {
    TarnhiveStatus s;
    RefPtr<IBucketValue> value = RefPtr<IBucketValue>::adopt(every->getValue(WideString(name), &s));
    writeSeed(corpus, vesk::orlo::toNarrow(WideString(name)).c_str(), text(recordOf(*value)));
  }
}

// A registry directory made by `build` through a manager, as a fuzz input.
RegistryInput registryMadeBy(const fs::path& work, std::uint8_t flags,
                             const std::function<void(BucketManager&)>& build) {
  fs::remove_all(work);
  fs::create_directories(work / "registry");
  std::ofstream(work / "options.ini") << "[Tarnhive]\n";
  {
    TarnhiveStatus status;
    RefPtr<BucketManager> manager(
        new BucketManager(widePath(work / "registry"), widePath(work / "options.ini"), &status));
    expect(!failed(&status), "a registry for a seed opens");
    build(*manager);
  }
  RegistryInput input;
  input.flags = flags;
  for (const auto& entry : fs::directory_iterator(work / "registry")) {
    std::ifstream in(entry.path(), std::ios::binary);
    input.files.push_back(
        {entry.path().filename().string(), std::string(std::istreambuf_iterator<char>(in), {})});
  }
  std::sort(input.files.begin(), input.files.end(),
            [](const RegistryFile& a, const RegistryFile& b) { return a.name < b.name; });
  return input;
}

// One commit that writes each named bucket, the first of them holding a
// value of every kind, and deletes `gone` when given.
void commit(BucketManager& manager, std::initializer_list<const char16_t*> names,
            const char16_t* gone = nullptr) {
  TarnhiveStatus status;
  Guid token;
  manager.acquireLock(&token, &status);
  manager.beginUpdate(token, &status);
  bool first = true;
  for (const char16_t* name : names) {
    IBucket* made = nullptr;
    manager.createBucket(&made, WideString(name), true, true, &status);
    RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(made);
    if (first) fillEveryKind(*bucket);
    first = false;
    bucket->setInt32(u"n", 5, &status, true);
    manager.writeBucket(bucket.get(), false, token, &status);
  }
  if (gone != nullptr) manager.deleteBucket(WideString(gone), token, &status);
  manager.commitUpdate(token, &status);
  manager.releaseLock(token, &status);
  expect(!failed(&status), "a seed's commit succeeds");
}

void threeCommits(BucketManager& manager) {
  commit(manager, {u"/a", u"/a/b", u"/c"});
  commit(manager, {u"/a/b/d"});
  commit(manager, {u"/e"}, u"/c");
}

const RegistryFile* fileNamed(const RegistryInput& input, const std::string& prefix) {
  for (const RegistryFile& file : input.files) {
    if (file.name.starts_with(prefix)) return &file;
  }
  return nullptr;
}

void registrySeeds(const fs::path& corpus, const fs::path& work) {
  writeSeed(corpus, "new", packRegistryInput(registryMadeBy(work, 0, [](BucketManager&) {})));
  writeSeed(corpus, "one-commit",
            packRegistryInput(registryMadeBy(
                work, kFixChecksums, [](BucketManager& m) { commit(m, {u"/Acme/Editor"}); })));
  const RegistryInput blocks = registryMadeBy(work, 0, threeCommits);
  writeSeed(corpus, "three-blocks", packRegistryInput(blocks));
  writeSeed(corpus, "three-blocks-small-limits",
            packRegistryInput({kSmallFileLimit | kSmallCache, blocks.files}));

  // The mark lost: the open walks the blocks and writes a new one.
  RegistryInput lost{kFixChecksums, {*fileNamed(blocks, "registry.bin")}};
  writeSeed(corpus, "lost-mark", packRegistryInput(lost));

  // A compaction's switch stopped after its third rename: the compacted
  // file in place with its mark still "newCommitmark", beside the old file
  // and mark.
  const RegistryInput compacted = registryMadeBy(work, 0, [](BucketManager& m) {
    threeCommits(m);
    TarnhiveStatus status;
    Guid token;
    m.acquireLock(&token, &status);
    m.compactRegistry(token, &status);
    m.releaseLock(token, &status);
    expect(!failed(&status), "the seed's compaction succeeds");
  });
  RegistryInput switching{0,
                          {{"registry.bin", fileNamed(compacted, "registry.bin")->content},
                           {"newCommitmark", fileNamed(compacted, "commitmark.")->content},
                           {"registry.bin.2", fileNamed(blocks, "registry.bin")->content},
                           {"oldCommitmark", fileNamed(blocks, "commitmark.")->content}}};
  writeSeed(corpus, "compaction-switch", packRegistryInput(switching));
}

void importSeeds(const fs::path& corpus, const fs::path& work) {
  fs::remove_all(work);
  fs::create_directories(work / "registry");
  std::ofstream(work / "options.ini") << "[Tarnhive]\n";
  TarnhiveStatus status;
  RefPtr<BucketManager> manager(
      new BucketManager(widePath(work / "registry"), widePath(work / "options.ini"), &status));
  expect(!failed(&status), "a registry for the seeds opens");
  commit(*manager, {u"/Acme/Editor", u"/Acme/Editor/Fonts", u"/Acme/a\\b"});
  tool::Session session(RefPtr<IBucketManager>(manager.get()), tool::GlobalOptions{});
  writeSeed(corpus, "export-every-kind", tool::exportDocument(session, u"/Acme", false).dump(1));
  writeSeed(corpus, "export-root", tool::exportDocument(session, u"/", false).dump());
  writeSeed(corpus, "hand-written", R"({"format": "tarnhive", "version": 1, "root": "/Acme",
 "buckets": {"/Acme/Editor": {
   "opened": {"type": "int64", "value": "1795219200"},
   "ratio":  {"type": "float64", "value": "NaN"},
   "layout": {"type": "binary", "value": "AQL+/w=="},
   "ids":    {"type": "int32[]", "value": [1, 2, 3]},
   "bytes":  {"type": "narrow", "value": {"hex": "ff00"}},
   "odd":    {"type": "string", "value": {"utf16": "d800"}}},
  "/Acme/\\ud800x": {"zoom": {"type": "float32", "value": "-Infinity"}}}}
)");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s CORPUS-DIRECTORY (fuzz/corpus)\n", argv[0]);
    return 2;
  }
  useOwnLockDirectory();
  const fs::path corpus(argv[1]);
  const ScratchDirectory work("seeds");
  bucketSeeds(corpus / "bucket_record");
  valueSeeds(corpus / "value_record");
  registrySeeds(corpus / "registry_directory", work.path() / "registry");
  importSeeds(corpus / "json_import", work.path() / "import");
  return 0;
}
