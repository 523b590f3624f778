// Values and names between Python objects and the tool's Value, exactly:
// integers and float64 as Python numbers, float32 as its 32-bit pattern (a
// Python float cannot keep a float32 NaN's bits), wide strings as str with
// unpaired surrogates kept as lone code points, narrow strings, binary and
// digests as bytes, and arrays as lists of those. The module's Python side
// wraps these payloads in its typed classes.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

#include "Value.h"
#include "vesk/tarnhive/Tarnhive.h"

namespace vesk::tarnhive::python {

namespace py = pybind11;

// UTF-16 units as str, an unpaired surrogate as a lone code point; and back
// (a str that is no str raises TypeError).
py::str textOf(const std::u16string& units);
std::u16string unitsOf(py::handle text);

// The value's payload as above.
py::object payloadOf(const tool::Value& value);

// A value of `type` from such a payload. Raises ValueError (a ToolError of
// bad input) for a number out of the type's range or a digest that is not
// 32 bytes, TypeError for a payload of the wrong Python type.
tool::Value valueOf(const tool::TypeInfo& type, py::handle payload);

// The value's list as (name, type name, payload) tuples.
py::list valuesList(const tool::NamedValues& values);

}  // namespace vesk::tarnhive::python
