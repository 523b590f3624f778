// Values of every kind for the value tests.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "bucket/BucketValue.h"
#include "bucket/ValuePayload.h"

namespace vesk::tarnhive::test {

using Value = orlo::RefPtr<BucketValue>;

inline Value newValue() { return Value(new BucketValue()); }

// Arms the payload fault seam for one scope.
class PayloadFailure {
 public:
  explicit PayloadFailure(std::uint32_t steps) { payload::failAfter(steps); }
  ~PayloadFailure() { payload::failAfter(0); }
  PayloadFailure(const PayloadFailure&) = delete;
  PayloadFailure& operator=(const PayloadFailure&) = delete;
};

// Makes values of any kind from a stream of numbers: a random stream, or the
// fixed stream, whose values hold two items (or one scalar) that are never
// the zero result of their getters.
class SampleMaker {
 public:
  explicit SampleMaker(std::uint32_t seed) : rng_(seed) {}
  static SampleMaker fixed() {
    SampleMaker maker(0);
    maker.fixed_ = true;
    return maker;
  }

  // Random values include empty strings and arrays, zero units and unpaired
  // surrogates, but no NaNs, since those never compare equal.
  Value make(BucketValueType kind) {
    if (payload::isScalar(kind) || payload::isNumericArray(kind)) return numeric(kind);
    Value v = newValue();
    TarnhiveStatus s;
    std::vector<orlo::NarrowString> narrows(count());
    std::vector<orlo::WideString> wides(count());
    for (auto& text : narrows) text = narrow();
    for (auto& text : wides) text = wide();
    const orlo::NarrowString bytes = narrow();
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    if (kind == kDIGEST) v->setDigest(Digest(wide()), &s);
    if (kind == kANSISTRING) v->setAnsiString(bytes, &s);
    if (kind == kSTRING) v->setString(wide(), &s);
    if (kind == kBLOB) v->setBlob(data, bytes.length(), &s);
    if (kind == kANSISTRINGARRAY) v->setAnsiStringArray(narrows.data(), size(narrows), &s);
    if (kind == kSTRINGARRAY) v->setStringArray(wides.data(), size(wides), &s);
    EXPECT_EQ(s.code, 0);
    return v;
  }

 private:
  std::uint64_t next() { return fixed_ ? 7 : rng_(); }
  std::uint32_t count() { return fixed_ ? 2 : (rng_() % 4 == 0 ? 0 : rng_() % 6); }
  static std::uint32_t size(const auto& items) { return static_cast<std::uint32_t>(items.size()); }
  orlo::NarrowString narrow() {
    orlo::NarrowString out;
    for (std::uint32_t i = count(); i > 0; --i) out += static_cast<char>(next());
    return out;
  }
  // Units from every range: 0 and ASCII, two- and three-byte forms, surrogates.
  orlo::WideString wide() {
    static constexpr std::uint16_t kBases[] = {0x0000, 0x0041, 0x07F0, 0xD800, 0xDC00, 0xFFF0};
    orlo::WideString out;
    for (std::uint32_t i = count(); i > 0; --i) {
      out += static_cast<orlo::WChar>(kBases[next() % 6] + next() % 16);
    }
    return out;
  }
  // Numbers are read from a record, which reaches every width and array kind
  // the same way.
  Value numeric(BucketValueType kind) {
    const std::uint32_t width = payload::elementSize(kind);
    const std::uint32_t element = payload::isScalar(kind) ? kind : payload::elementKind(kind);
    const std::uint32_t items = payload::isScalar(kind) ? 1 : count();
    std::vector<std::uint8_t> record = {1, 0, 0, 0, static_cast<std::uint8_t>(kind), 0, 0, 0};
    if (payload::isNumericArray(kind)) record.insert(record.end(), {std::uint8_t(items), 0, 0, 0});
    for (std::uint32_t i = 1; i <= items * width; ++i) {
      auto byte = static_cast<std::uint8_t>(next());
      // Bools are stored as 0 or 1; a float whose exponent lacks its second
      // highest bit is never a NaN.
      if (element == kBOOL) byte &= 1;
      if ((element == kFLOAT32 || element == kFLOAT64) && i % width == 0) byte &= 0xBF;
      record.push_back(byte);
    }
    Value v = newValue();
    const std::uint8_t* cursor = record.data();
    v->deserialize(cursor, record.data() + record.size());
    return v;
  }

  std::mt19937_64 rng_;
  bool fixed_ = false;
};

inline Value fixedSample(BucketValueType kind) { return SampleMaker::fixed().make(kind); }

}  // namespace vesk::tarnhive::test
