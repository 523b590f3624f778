// set, get, export and import, end to end: every kind of value survives
// the text and JSON forms exactly, and bad input changes nothing.
#include "ToolRunner.h"

namespace vesk::tarnhive::tool::testing {
namespace {

class ValuesToolTest : public ToolTest {};

// One value per kind, with the edges of its range: the words given to set
// and the typed JSON that get --json must return.
struct Sample {
  std::vector<std::string> words;  // NAME TYPE VALUE...
  std::string json;
};

const std::vector<Sample> kSamples = {
    {{"b", "bool", "true"}, R"({"type":"bool","value":true})"},
    {{"i8", "int8", "-128"}, R"({"type":"int8","value":-128})"},
    {{"u8", "uint8", "255"}, R"({"type":"uint8","value":255})"},
    {{"i16", "int16", "-32768"}, R"({"type":"int16","value":-32768})"},
    {{"u16", "uint16", "65535"}, R"({"type":"uint16","value":65535})"},
    {{"i32", "int32", "-2147483648"}, R"({"type":"int32","value":-2147483648})"},
    {{"u32", "uint32", "4294967295"}, R"({"type":"uint32","value":4294967295})"},
    {{"i64", "int64", "-9223372036854775808"}, R"({"type":"int64","value":"-9223372036854775808"})"},
    {{"u64", "uint64", "18446744073709551615"}, R"({"type":"uint64","value":"18446744073709551615"})"},
    {{"f32", "float32", "0.1"}, R"({"type":"float32","value":0.1})"},
    {{"f64", "float64", "-0"}, R"({"type":"float64","value":-0.0})"},
    {{"inf", "float32", "-Infinity"}, R"({"type":"float32","value":"-Infinity"})"},
    {{"nan", "float64", "NaN"}, R"({"type":"float64","value":"NaN"})"},
    {{"nanbits", "float64", "NaN:0xfff8000000000001"}, R"({"type":"float64","value":"NaN:0xfff8000000000001"})"},
    {{"s", "string", "h\xc3\xa9llo \xf0\x9f\x98\x80"}, R"({"type":"string","value":"héllo 😀"})"},
    {{"n", "narrow", "plain"}, R"({"type":"narrow","value":"plain"})"},
    {{"bin", "binary", "00ff10"}, R"({"type":"binary","value":"AP8Q"})"},
    {{"b64", "binary", "base64:AAEC"}, R"({"type":"binary","value":"AAEC"})"},
    {{"empty", "binary", ""}, R"({"type":"binary","value":""})"},
    {{"d", "digest", std::string(64, 'a')}, R"({"type":"digest","value":")" + std::string(64, 'a') + R"("})"},
    {{"sa", "string-array", R"(["a", "b,c", ""])"}, R"({"type":"string-array","value":["a","b,c",""]})"},
    {{"na", "narrow-array", "x", "y"}, R"({"type":"narrow-array","value":["x","y"]})"},
    {{"ba", "bool-array", "true", "false"}, R"({"type":"bool-array","value":[true,false]})"},
    {{"i8a", "int8-array", "-1", "1"}, R"({"type":"int8-array","value":[-1,1]})"},
    {{"u8a", "uint8[]", "[0, 255]"}, R"({"type":"uint8-array","value":[0,255]})"},
    {{"i16a", "int16-array"}, R"({"type":"int16-array","value":[]})"},
    {{"u16a", "uint16-array", "7"}, R"({"type":"uint16-array","value":[7]})"},
    {{"i32a", "int32-array", "-5", "5"}, R"({"type":"int32-array","value":[-5,5]})"},
    {{"u32a", "uint32-array", "4294967295"}, R"({"type":"uint32-array","value":[4294967295]})"},
    {{"i64a", "int64-array", "9223372036854775807"}, R"({"type":"int64-array","value":["9223372036854775807"]})"},
    {{"u64a", "uint64-array", "1"}, R"({"type":"uint64-array","value":["1"]})"},
    {{"f32a", "float32-array", "1.5", "NaN"}, R"({"type":"float32-array","value":[1.5,"NaN"]})"},
    {{"f64a", "float64-array", "[1e300, \"Infinity\", -0.0]"}, R"({"type":"float64-array","value":[1e+300,"Infinity",-0.0]})"},
};

// Every kind survives set and get, then export, import into another
// registry and export again.
TEST_F(ValuesToolTest, EveryKindRoundTripsThroughSetGetExportAndImport) {
  for (const Sample& sample : kSamples) {
    std::vector<std::string> args{"set", "-p", "/All/Kinds"};
    args.insert(args.end(), sample.words.begin(), sample.words.end());
    ok(args);
    EXPECT_EQ(ok({"get", "--json", "/All/Kinds", sample.words[0]}), sample.json + "\n")
        << sample.words[0];
  }
  EXPECT_EQ(ok({"get", "/All/Kinds", "u64"}), "18446744073709551615\n");
  EXPECT_EQ(ok({"get", "/All/Kinds", "i32a"}), "-5\n5\n");
  EXPECT_EQ(ok({"get", "/All/Kinds", "s"}), "h\xc3\xa9llo \xf0\x9f\x98\x80\n");
  // Strings that JSON cannot carry as text: an unpaired surrogate and bytes
  // that are not UTF-8.
  ok({"import"}, R"({"format":"tarnhive","version":1,"root":"/","buckets":{
      "/Odd/\\ud800name": {"lone": {"type": "string", "value": {"utf16": "d800dc00dfff0041"}},
                           "raw": {"type": "narrow-array", "value": [{"hex": "ff00fe"}, "ok"]}}}})");
  const std::string first = ok({"export"});
  EXPECT_NE(first.find(R"("utf16": "d800dc00dfff0041")"), std::string::npos);
  EXPECT_NE(first.find(R"("/Odd/\\ud800name")"), std::string::npos);

  const std::string copy = root_ + "/copy";
  Outcome imported = tool({"-d", copy, "import"}, first);
  ASSERT_EQ(imported.status, 0) << imported.err;
  EXPECT_EQ(tool({"-d", copy, "export"}).out, first);
  // And importing an export over the same registry changes nothing.
  ok({"import"}, first);
  EXPECT_EQ(ok({"export"}), first);
}

TEST_F(ValuesToolTest, ImportWithReplaceDeletesWhatTheFileLacks) {
  ok({"set", "-p", "/App/Keep", "a", "int32", "1"});
  ok({"set", "-p", "/Other", "x", "int32", "1"});
  const std::string wanted = ok({"export", "/App"});
  ok({"set", "/App/Keep", "extra", "int32", "2"});
  ok({"set", "-p", "/App/Gone/Deep", "b", "int32", "3"});

  ok({"import"}, wanted);  // without --replace the additions stay
  EXPECT_NE(ok({"export", "/App"}), wanted);
  ok({"import", "--replace"}, wanted);
  EXPECT_EQ(ok({"export", "/App"}), wanted);
  EXPECT_EQ(ok({"get", "/Other", "x"}), "1\n");  // outside the root: untouched
  EXPECT_EQ(ok({"check"}).rfind("ok:", 0), 0u);
}

TEST_F(ValuesToolTest, RmRemovesValuesAndBucketsAndKnowsWhatIsMissing) {
  ok({"set", "-p", "/A/B/C", "v", "int8", "1"});
  ok({"rm", "/A/B/C", "v"});
  EXPECT_EQ(tool({"get", "/A/B/C", "v"}).status, 1);
  EXPECT_EQ(tool({"rm", "/A/B/C", "v"}).status, 1);
  EXPECT_EQ(tool({"rm", "/A"}).status, 2);  // has children
  ok({"rm", "-r", "/A"});
  EXPECT_EQ(tool({"ls", "/A"}).status, 1);
  EXPECT_EQ(ok({"ls"}), "");
  EXPECT_EQ(tool({"rm", "/"}).status, 2);
}

TEST_F(ValuesToolTest, ListingShowsChildrenSubtreesAndValues) {
  ok({"set", "-p", "/A/B", "v", "int8", "1"});
  ok({"set", "-p", "/A/C/D", "s", "string", "x y"});
  EXPECT_EQ(ok({"ls", "/A"}), "/A/B\n/A/C\n");
  EXPECT_EQ(ok({"ls", "-r", "/A"}), "/A/B\n/A/C\n/A/C/D\n");
  EXPECT_EQ(ok({"ls", "-l", "/A/C/D"}), "/A/C/D\n  s  string  \"x y\"\n");
  EXPECT_EQ(ok({"--json", "ls", "/A"}), "[\n  \"/A/B\",\n  \"/A/C\"\n]\n");
}

// Bad input: each is refused with a message and a non-zero status, and the
// registry is left exactly as it was.
TEST_F(ValuesToolTest, BadInputIsRefusedAndChangesNothing) {
  ok({"set", "-p", "/A", "v", "int32", "1"});
  const std::string before = ok({"export"});
  const std::vector<std::pair<std::vector<std::string>, std::string>> refused = {
      {{"set", "/A", "x", "int9", "1"}, "unknown type"},
      {{"set", "/A", "x", "int8", "300"}, "out of range for int8"},
      {{"set", "/A", "x", "uint16", "-1"}, "out of range for uint16"},
      {{"set", "/A", "x", "float64", "1.5x"}, "is not a number"},
      {{"set", "/A", "x", "int32", "1", "2"}, "exactly one word"},
      {{"set", "/A", "x", "int32-array", "[1,"}, "not a well-formed JSON array"},
      {{"set", "/A", "x", "binary", "abc"}, "neither hexadecimal"},
      {{"set", "/A", "x"}, "PATH NAME TYPE"},
      {{"get", "/A"}, "NAME is required"},
  };
  for (const auto& [args, message] : refused) {
    const Outcome outcome = tool(args);
    EXPECT_EQ(outcome.status, 2) << args[0] << " " << message;
    EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
  }
  const std::vector<std::pair<std::string, std::string>> badImports = {
      {"{\"format\": \"tarnhive\", ", "not well-formed JSON"},
      // The JSON parser reports a number beyond the doubles apart from its
      // syntax errors.
      {"{\"format\": \"tarnhive\", \"version\": 1e999}", "not well-formed JSON"},
      // Fields of the wrong type are not converted (1e40 is beyond int).
      {R"({"format":1,"version":1,"buckets":{}})", "not a tarnhive export"},
      {R"({"format":"tarnhive","version":"1","buckets":{}})", "version is not 1"},
      {R"({"format":"tarnhive","version":1e40,"buckets":{}})", "version is not 1"},
      {R"({"format":"tarnhive","version":1,"buckets":{"/A":{"x":{"value":1}}}})", "expected {\"type\""},
      {R"({"format":"tarnhive","version":1,"buckets":{"/A":{"x":{"type":"int8","value":"x"}}}})", "not a number"},
      {R"({"format":"tarnhive","version":1,"buckets":{"/A":{"x":{"type":"int8","value":1.5}}}})", "expected an integer"},
      {R"({"format":"tarnhive","version":1,"buckets":{"/A":{"x":{"type":"uuid","value":1}}}})", "unknown type"},
      {R"({"format":"tarnhive","version":1,"root":"/B","buckets":{"/A":{}}})", "not under /B"},
  };
  for (const auto& [input, message] : badImports) {
    const Outcome outcome = tool({"import"}, input);
    EXPECT_EQ(outcome.status, 2) << input;
    EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
  }
  // This one fails half way, inside the library (a value name may not be
  // empty) after other buckets went into the update: nothing is committed.
  const Outcome halfWay = tool({"import"}, R"({"format":"tarnhive","version":1,"buckets":{
      "/A": {"w": {"type": "int8", "value": 5}}, "/Z": {"": {"type": "int8", "value": 1}}}})");
  EXPECT_EQ(halfWay.status, 3);
  EXPECT_NE(halfWay.err.find("kEMPTYVALUENAME (-314519)"), std::string::npos) << halfWay.err;
  EXPECT_EQ(ok({"export"}), before);
}

}  // namespace
}  // namespace vesk::tarnhive::tool::testing
