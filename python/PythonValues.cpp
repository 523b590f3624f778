// Payload conversions. Integers go through the tool's number reader, so a
// number out of range is refused with the same message as on the command
// line.
#include "PythonValues.h"

#include <bit>

#include "ToolError.h"
#include "ValueText.h"

namespace vesk::tarnhive::python {
namespace {

using tool::ElementKind;

py::object elementOf(const tool::Value& value, const tool::TypeInfo& type, std::size_t i) {
  switch (type.element) {
    case ElementKind::kNarrow:
      return py::bytes(value.narrow[i]);
    case ElementKind::kWide:
      return textOf(value.wide[i]);
    case ElementKind::kBool:
      return py::bool_(value.bits[i] != 0);
    case ElementKind::kSigned:
      return py::int_(tool::signedOf(value.bits[i], type.width));
    case ElementKind::kUnsigned:
      return py::int_(value.bits[i]);
    case ElementKind::kFloat:
      if (type.width == 4) return py::int_(value.bits[i]);
      return py::float_(std::bit_cast<double>(value.bits[i]));
    default:
      return py::none();
  }
}

template <class Python>
Python expect(py::handle payload, const char* what, const tool::TypeInfo& type) {
  if (!py::isinstance<Python>(payload)) {
    throw py::type_error(std::string("expected ") + what + " for " + type.name + ", got " +
                         std::string(py::str(py::type::of(payload).attr("__name__"))));
  }
  return py::reinterpret_borrow<Python>(payload);
}

void appendElement(const tool::TypeInfo& type, py::handle payload, tool::Value& out) {
  switch (type.element) {
    case ElementKind::kNarrow:
      out.narrow.push_back(std::string(expect<py::bytes>(payload, "bytes", type)));
      return;
    case ElementKind::kWide:
      out.wide.push_back(unitsOf(payload));
      return;
    case ElementKind::kBool:
      out.bits.push_back(expect<py::int_>(payload, "a bool", type).cast<bool>() ? 1 : 0);
      return;
    case ElementKind::kSigned:
    case ElementKind::kUnsigned:
      out.bits.push_back(tool::parseNumber(type, std::string(py::str(expect<py::int_>(payload, "an int", type)))));
      return;
    case ElementKind::kFloat:
      if (type.width == 4) {
        // The float32's bit pattern, which the Python side keeps.
        out.bits.push_back(expect<py::int_>(payload, "the bits of a float32", type).cast<std::uint32_t>());
      } else {
        out.bits.push_back(std::bit_cast<std::uint64_t>(expect<py::float_>(payload, "a float", type).cast<double>()));
      }
      return;
    default:
      break;
  }
}

}  // namespace

py::str textOf(const std::u16string& units) {
  std::string bytes;
  bytes.reserve(units.size() * 2);
  for (char16_t unit : units) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  int littleEndian = -1;
  PyObject* text = PyUnicode_DecodeUTF16(bytes.data(), static_cast<Py_ssize_t>(bytes.size()),
                                         "surrogatepass", &littleEndian);
  if (text == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(text);
}

std::u16string unitsOf(py::handle text) {
  if (!py::isinstance<py::str>(text)) {
    throw py::type_error("expected a str, got " +
                         std::string(py::str(py::type::of(text).attr("__name__"))));
  }
  PyObject* encoded = PyUnicode_AsEncodedString(text.ptr(), "utf-16-le", "surrogatepass");
  if (encoded == nullptr) throw py::error_already_set();
  const std::string bytes = py::reinterpret_steal<py::bytes>(encoded);
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                   static_cast<unsigned char>(bytes[i + 1]) << 8);
  }
  return units;
}

py::object payloadOf(const tool::Value& value) {
  const tool::TypeInfo& type = *tool::typeInfo(value.type);
  if (type.element == ElementKind::kBlob || type.element == ElementKind::kDigest) {
    return py::bytes(value.bytes);
  }
  if (!type.array) return elementOf(value, type, 0);
  py::list elements;
  for (std::size_t i = 0; i < tool::elementCount(value); ++i) elements.append(elementOf(value, type, i));
  return elements;
}

tool::Value valueOf(const tool::TypeInfo& type, py::handle payload) {
  tool::Value value;
  value.type = type.code;
  if (type.element == ElementKind::kBlob || type.element == ElementKind::kDigest) {
    value.bytes = expect<py::bytes>(payload, "bytes", type);
    if (type.element == ElementKind::kDigest && value.bytes.size() != vesk::tarnhive::Digest::kSize) {
      tool::fail(tool::kExitUsage, "a digest is 32 bytes, not " + std::to_string(value.bytes.size()));
    }
    return value;
  }
  if (!type.array) {
    appendElement(type, payload, value);
    return value;
  }
  for (py::handle element : expect<py::list>(payload, "a list", type)) appendElement(type, element, value);
  return value;
}

py::list valuesList(const tool::NamedValues& values) {
  py::list list;
  for (const auto& [name, value] : values) {
    list.append(py::make_tuple(textOf(name), tool::typeInfo(value.type)->name, payloadOf(value)));
  }
  return list;
}

}  // namespace vesk::tarnhive::python
