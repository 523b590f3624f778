// Values of every kind for the value tests: random ones for round trips and
// small fixed ones for tables.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <type_traits>
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

class SampleMaker {
 public:
  explicit SampleMaker(std::uint32_t seed) : rng_(seed) {}

  // A value of `kind` with random content: empty strings and arrays, zero
  // units and unpaired surrogates all turn up.
  Value make(BucketValueType kind) {
    Value v = newValue();
    TarnhiveStatus status;
    switch (kind) {
      case kDIGEST: v->setDigest(Digest(wide()), &status); break;
      case kANSISTRING: v->setAnsiString(narrow(), &status); break;
      case kSTRING: v->setString(wide(), &status); break;
      case kBLOB: {
        const auto bytes = raw(count() * 3);
        v->setBlob(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &status);
        break;
      }
      case kBOOL: v->setBool(bits<std::uint8_t>() & 1, &status); break;
      case kANSISTRINGARRAY: {
        std::vector<orlo::NarrowString> items(count());
        for (auto& item : items) item = narrow();
        v->setAnsiStringArray(items.data(), size(items), &status);
        break;
      }
      case kSTRINGARRAY: {
        std::vector<orlo::WideString> items(count());
        for (auto& item : items) item = wide();
        v->setStringArray(items.data(), size(items), &status);
        break;
      }
      default: setNumeric(*v, kind, &status); break;
    }
    EXPECT_EQ(status.code, 0);
    return v;
  }

 private:
  template <class T>
  T bits() {
    T value;
    const std::uint64_t r = rng_();
    std::memcpy(&value, &r, sizeof value);
    return value;
  }
  std::uint32_t count() { return rng_() % 4 == 0 ? 0 : rng_() % 6; }
  template <class C>
  static std::uint32_t size(const C& c) { return static_cast<std::uint32_t>(c.size()); }
  std::vector<std::uint8_t> raw(std::uint32_t n) {
    std::vector<std::uint8_t> out(n);
    for (auto& b : out) b = static_cast<std::uint8_t>(rng_());
    return out;
  }
  orlo::NarrowString narrow() {
    const auto bytes = raw(count());
    return orlo::NarrowString(reinterpret_cast<const char*>(bytes.data()), size(bytes));
  }
  // Units from every range: ASCII, two- and three-byte forms, surrogates, 0.
  orlo::WideString wide() {
    static constexpr std::uint16_t kBases[] = {0x0000, 0x0041, 0x07F0, 0xD800, 0xDC00, 0xFFF0};
    orlo::WideString out;
    for (std::uint32_t i = count(); i > 0; --i) {
      out += static_cast<orlo::WChar>(kBases[rng_() % 6] + rng_() % 16);
    }
    return out;
  }
  template <class T>
  std::vector<T> numbers() {
    std::vector<T> out(count());
    for (auto& x : out) x = number<T>();
    return out;
  }
  // Random bit patterns; NaNs are left out since they never compare equal.
  template <class T>
  T number() {
    for (;;) {
      const T x = bits<T>();
      if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(x)) continue;
      }
      return x;
    }
  }
  template <class T>
  void setArray(BucketValue& v, void (BucketValue::*setter)(const T*, std::uint32_t,
                                                           TarnhiveStatus*),
                TarnhiveStatus* status) {
    const auto items = numbers<T>();
    (v.*setter)(items.data(), size(items), status);
  }
  void setNumeric(BucketValue& v, BucketValueType kind, TarnhiveStatus* s);

  std::mt19937_64 rng_;
};

inline void SampleMaker::setNumeric(BucketValue& v, BucketValueType kind, TarnhiveStatus* s) {
  switch (kind) {
    case kINT8: return v.setInt8(number<std::int8_t>(), s);
    case kUINT8: return v.setUInt8(number<std::uint8_t>(), s);
    case kINT16: return v.setInt16(number<std::int16_t>(), s);
    case kUINT16: return v.setUInt16(number<std::uint16_t>(), s);
    case kINT32: return v.setInt32(number<std::int32_t>(), s);
    case kUINT32: return v.setUInt32(number<std::uint32_t>(), s);
    case kINT64: return v.setInt64(number<std::int64_t>(), s);
    case kUINT64: return v.setUInt64(number<std::uint64_t>(), s);
    case kFLOAT32: return v.setFloat32(number<float>(), s);
    case kFLOAT64: return v.setFloat64(number<double>(), s);
    case kBOOLARRAY: {
      std::vector<std::uint8_t> bytes = raw(count());
      for (auto& b : bytes) b &= 1;
      return v.setBoolArray(reinterpret_cast<const bool*>(bytes.data()), size(bytes), s);
    }
    case kINT8ARRAY: return setArray(v, &BucketValue::setInt8Array, s);
    case kUINT8ARRAY: return setArray(v, &BucketValue::setUInt8Array, s);
    case kINT16ARRAY: return setArray(v, &BucketValue::setInt16Array, s);
    case kUINT16ARRAY: return setArray(v, &BucketValue::setUInt16Array, s);
    case kINT32ARRAY: return setArray(v, &BucketValue::setInt32Array, s);
    case kUINT32ARRAY: return setArray(v, &BucketValue::setUInt32Array, s);
    case kINT64ARRAY: return setArray(v, &BucketValue::setInt64Array, s);
    case kUINT64ARRAY: return setArray(v, &BucketValue::setUInt64Array, s);
    case kFLOAT32ARRAY: return setArray(v, &BucketValue::setFloat32Array, s);
    case kFLOAT64ARRAY: return setArray(v, &BucketValue::setFloat64Array, s);
    default: return;  // kNOTSET
  }
}

// A value of `kind` whose content is never the zero result of its getters:
// strings "x", a blob of three bytes, string arrays of two items, and numbers
// and numeric arrays (two items) made of 07 bytes, read from a record.
inline Value fixedSample(BucketValueType kind) {
  static const orlo::NarrowString kNarrow[] = {"x", "yz"};
  static const orlo::WideString kWide[] = {u"x", u"\xD800z"};
  static const std::uint8_t kBytes[] = {1, 2, 3};
  Value v = newValue();
  TarnhiveStatus s;
  switch (kind) {
    case kNOTSET: break;
    case kDIGEST: v->setDigest(Digest(orlo::WideString(u"/x")), &s); break;
    case kANSISTRING: v->setAnsiString(kNarrow[0], &s); break;
    case kSTRING: v->setString(kWide[0], &s); break;
    case kBLOB: v->setBlob(kBytes, 3, &s); break;
    case kANSISTRINGARRAY: v->setAnsiStringArray(kNarrow, 2, &s); break;
    case kSTRINGARRAY: v->setStringArray(kWide, 2, &s); break;
    default: {
      std::vector<std::uint8_t> record = {1, 0, 0, 0, static_cast<std::uint8_t>(kind), 0, 0, 0};
      std::uint32_t items = 1;
      if (payload::isNumericArray(kind)) {
        items = 2;
        record.insert(record.end(), {2, 0, 0, 0});
      }
      record.insert(record.end(), items * payload::elementSize(kind), 7);
      const std::uint8_t* cursor = record.data();
      v->deserialize(cursor, record.data() + record.size());
      break;
    }
  }
  EXPECT_EQ(s.code, 0);
  return v;
}

}  // namespace vesk::tarnhive::test
