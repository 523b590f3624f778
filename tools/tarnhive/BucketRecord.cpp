// Decoding bucket records. A bucket record is u32 1, u32 version, the full
// name, u32 value count and per value its name and its value record; a name
// is a u32 byte count and the registry's unit-by-unit UTF-8. A value record
// is u32 1, u32 type code and the payload of its kind, little-endian.
#include "BucketRecord.h"

#include "Encoding.h"

namespace vesk::tarnhive::tool {
namespace {

// Reads little-endian fields from a byte range; a read past the end marks
// the cursor bad and yields zeros.
class Cursor {
 public:
  explicit Cursor(std::string_view bytes) : bytes_(bytes) {}
  bool good() const { return good_; }
  bool atEnd() const { return position_ == bytes_.size(); }

  std::string_view take(std::uint64_t count) {
    if (!good_ || count > bytes_.size() - position_) {
      good_ = false;
      return {};
    }
    const std::string_view part = bytes_.substr(position_, count);
    position_ += count;
    return part;
  }
  std::uint64_t number(unsigned width) {
    const std::string_view part = take(width);
    std::uint64_t value = 0;
    for (std::size_t i = part.size(); i > 0; --i) value = (value << 8) | static_cast<unsigned char>(part[i - 1]);
    return value;
  }
  std::optional<std::u16string> wide() {
    const std::string_view part = take(number(4));
    if (!good_) return std::nullopt;
    return fromUnitUtf8(part);
  }
  std::optional<std::string> narrow() {
    const std::uint64_t length = number(4);
    const std::string_view part = take(length);
    if (!good_ || length == 0 || part.back() != 0) return std::nullopt;
    return std::string(part.substr(0, length - 1));
  }

 private:
  std::string_view bytes_;
  std::size_t position_ = 0;
  bool good_ = true;
};

bool decodeElement(Cursor& in, const TypeInfo& type, Value& value) {
  switch (type.element) {
    case ElementKind::kNarrow: {
      auto text = in.narrow();
      if (text) value.narrow.push_back(*text);
      return text.has_value();
    }
    case ElementKind::kWide: {
      auto text = in.wide();
      if (text) value.wide.push_back(*text);
      return text.has_value();
    }
    case ElementKind::kBool:
      value.bits.push_back(in.number(1) != 0 ? 1 : 0);
      return in.good();
    default:
      value.bits.push_back(in.number(type.width));
      return in.good();
  }
}

bool decodeValue(Cursor& in, Value& value, std::string& error) {
  in.number(4);  // record format word, ignored
  value.type = static_cast<BucketValueType>(in.number(4));
  const TypeInfo* type = typeInfo(value.type);
  if (!in.good() || type == nullptr || value.type == kNOTSET) {
    error = "a value record has the type code " + std::to_string(value.type);
    return false;
  }
  if (type->element == ElementKind::kDigest) {
    value.bytes = std::string(in.take(32));
  } else if (type->element == ElementKind::kBlob) {
    value.bytes = std::string(in.take(in.number(4)));
  } else if (!type->array) {
    if (!decodeElement(in, *type, value)) error = "a value record is malformed";
  } else {
    const std::uint64_t count = in.number(4);
    for (std::uint64_t i = 0; i < count && in.good() && error.empty(); ++i) {
      if (!decodeElement(in, *type, value)) error = "an array element is malformed";
    }
  }
  if (error.empty() && !in.good()) error = "a value record runs past the bucket's end";
  return error.empty();
}

}  // namespace

std::optional<BucketRecord> decodeBucket(std::string_view bytes, std::string& error) {
  Cursor in(bytes);
  BucketRecord record;
  in.number(4);  // record format word, ignored
  record.version = static_cast<std::uint32_t>(in.number(4));
  auto name = in.wide();
  if (!name) {
    error = "the bucket's full name is malformed";
    return std::nullopt;
  }
  record.fullName = *name;
  const std::uint64_t count = in.number(4);
  for (std::uint64_t i = 0; i < count; ++i) {
    auto valueName = in.wide();
    Value value;
    if (!valueName) {
      error = "a value name is malformed";
      return std::nullopt;
    }
    if (!decodeValue(in, value, error)) return std::nullopt;
    record.values.emplace_back(std::move(*valueName), std::move(value));
  }
  if (!in.good() || !in.atEnd()) {
    error = in.good() ? "the bucket record has bytes after its last value" : "the bucket record is cut short";
    return std::nullopt;
  }
  return record;
}

}  // namespace vesk::tarnhive::tool
