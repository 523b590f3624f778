// The native part of the Python package `tarnhive`: the registry and its
// updates over the tool's session and codecs. The package's Python side
// (tarnhive/__init__.py) gives the public classes; this module hands it
// plain payloads (PythonValues.h) and raises its exceptions
// (tarnhive/_errors.py). The interpreter lock is released wherever the
// library may wait for the registry lock or for a commit.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>

#include "Encoding.h"
#include "Feed.h"
#include "PythonValues.h"
#include "Registry.h"
#include "ToolError.h"

namespace vesk::tarnhive::python {
namespace {

// Raises the package's exception for a failure: `kind` chooses its class
// together with the status code.
void raise(const char* kind, std::int32_t code, const char* message) {
  try {
    const tool::StatusText text = tool::statusText(code);
    py::object error = py::module_::import("tarnhive._errors")
                           .attr("native_error")(kind, code == 0 ? py::object(py::none()) : py::int_(code),
                                                 text.name ? py::object(py::str(text.name)) : py::none(),
                                                 text.meaning ? py::object(py::str(text.meaning)) : py::none(),
                                                 message);
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
  } catch (py::error_already_set& failure) {
    failure.restore();
  }
}

void translate(std::exception_ptr failure) {
  try {
    if (failure) std::rethrow_exception(failure);
  } catch (const tool::LockTimeout& error) {
    raise("timeout", error.statusCode(), error.what());
  } catch (const tool::ToolError& error) {
    const char* kind = error.exitStatus() == tool::kExitUsage      ? "input"
                       : error.exitStatus() == tool::kExitNotFound ? "missing"
                                                                   : "library";
    raise(kind, error.statusCode(), error.what());
  }
}

double seconds(const std::optional<double>& timeout) { return timeout ? *timeout : -1.0; }

std::optional<std::u16string> optionalUnits(const py::object& text) {
  if (text.is_none()) return std::nullopt;
  return unitsOf(text);
}

// The type a set stores: a type name, or for the plain Python values whose
// type is not fixed, the kind the value already has.
const tool::TypeInfo& typeToStore(Change& change, const std::u16string& path,
                                  const std::u16string& name, const std::string& kind) {
  if (kind != "int" && kind != "int-array" && kind != "array") {
    const tool::TypeInfo* type = tool::typeByName(kind);
    if (type == nullptr) tool::fail(tool::kExitUsage, "unknown type \"" + kind + "\"");
    return *type;
  }
  const tool::TypeInfo* existing = tool::typeInfo(change.typeOf(path, name));
  const bool integer = existing != nullptr && (existing->element == tool::ElementKind::kSigned ||
                                               existing->element == tool::ElementKind::kUnsigned);
  const bool array = kind != "int";
  if (existing != nullptr && existing->array == array && (integer || kind == "array")) return *existing;
  if (kind == "array") {
    tool::fail(tool::kExitUsage, "an empty list has no type: give one with tarnhive.Array");
  }
  return *tool::typeByName(array ? "int64-array" : "int64");
}

class NativeChange {
 public:
  NativeChange(Registry& registry, std::optional<double> timeout) {
    py::gil_scoped_release unlocked;
    change_ = std::make_unique<Change>(registry, seconds(timeout));
  }

  void set(const py::str& path, const py::str& name, const std::string& kind, py::handle payload) {
    Change& change = open();
    const std::u16string bucket = unitsOf(path);
    const std::u16string valueName = unitsOf(name);
    change.set(bucket, valueName, valueOf(typeToStore(change, bucket, valueName, kind), payload));
  }

  void remove(const py::str& path, const py::object& name) {
    if (name.is_none()) {
      open().removeBucket(unitsOf(path));
    } else {
      open().removeValue(unitsOf(path), unitsOf(name));
    }
  }

  // Commits and ends the update; the lock is released whether the commit
  // succeeds or not.
  void commit() {
    std::unique_ptr<Change> change = std::move(change_);
    if (!change) notOpen();
    py::gil_scoped_release unlocked;
    change->commit();
    change.reset();
  }

  void discard() {
    py::gil_scoped_release unlocked;
    change_.reset();
  }

 private:
  [[noreturn]] static void notOpen() {
    throw tool::ToolError(tool::kExitDamaged, "the update is over", kNOUPDATE);
  }
  Change& open() {
    if (!change_) notOpen();
    return *change_;
  }

  std::unique_ptr<Change> change_;
};

// Waits for a commit up to `timeout` seconds (none: for ever). The wait goes
// in short slices with the interpreter lock released, and Python's signal
// handlers run between them, so that Ctrl-C raises KeyboardInterrupt
// within a slice.
bool waitForCommit(Feed& feed, std::optional<double> timeout) {
  constexpr std::uint32_t kSliceMilliseconds = 200;
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  const double limit = timeout ? std::max(0.0, *timeout) * 1000.0 : 0.0;
  for (;;) {
    std::uint32_t slice = kSliceMilliseconds;
    if (timeout) {
      const double spent = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
      slice = static_cast<std::uint32_t>(std::clamp(std::ceil(limit - spent), 0.0, double(slice)));
    }
    bool changed = false;
    {
      py::gil_scoped_release unlocked;
      changed = feed.wait(slice);
    }
    if (changed) return true;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    if (timeout && slice == 0) return false;
  }
}

py::list readChanges(Feed& feed) {
  std::vector<FeedChange> changes;
  {
    py::gil_scoped_release unlocked;
    changes = feed.read();
  }
  py::list found;
  for (const FeedChange& change : changes) {
    found.append(py::make_tuple(change.commit, textOf(change.bucket), change.written, change.net));
  }
  return found;
}

std::unique_ptr<Registry> openRegistry(const std::string& directory, const std::string& iniFile) {
  const auto directoryUnits = tool::fromUtf8(directory);
  const auto iniUnits = tool::fromUtf8(iniFile);
  if (!directoryUnits || !iniUnits) tool::fail(tool::kExitUsage, "a path is not valid UTF-8");
  py::gil_scoped_release unlocked;
  return std::make_unique<Registry>(*directoryUnits, *iniUnits);
}

}  // namespace
}  // namespace vesk::tarnhive::python

PYBIND11_MODULE(_tarnhive, module) {
  using namespace vesk::tarnhive::python;
  module.doc() = "Native part of the tarnhive package; use the package itself.";
  py::register_exception_translator(translate);
  module.def("status_text", [](std::int32_t code) {
    const vesk::tarnhive::tool::StatusText text = vesk::tarnhive::tool::statusText(code);
    return py::make_tuple(text.name ? py::object(py::str(text.name)) : py::none(),
                          text.meaning ? py::object(py::str(text.meaning)) : py::none());
  });

  py::class_<Registry>(module, "Registry")
      .def(py::init(&openRegistry), py::arg("directory"), py::arg("ini"))
      .def("directory", [](Registry& r) { return textOf(r.directory()); })
      .def("default_directory", [](Registry& r) { return textOf(r.defaultDirectory()); })
      .def("contains", [](Registry& r, const py::str& path) { return r.contains(unitsOf(path)); })
      .def("values",
           [](Registry& r, const py::str& path) -> py::object {
             auto found = r.values(unitsOf(path));
             if (!found) return py::none();
             return py::make_tuple(textOf(found->first), valuesList(found->second));
           })
      .def("children",
           [](Registry& r, const py::str& path) {
             py::list names;
             for (const std::u16string& name : r.children(unitsOf(path))) names.append(textOf(name));
             return names;
           })
      .def("subtree",
           [](Registry& r, const py::str& path) {
             py::list buckets;
             for (const auto& [name, values] : r.subtree(unitsOf(path))) {
               buckets.append(py::make_tuple(textOf(name), valuesList(values)));
             }
             return buckets;
           })
      .def("export_text", [](Registry& r, const py::str& path) { return r.exportText(unitsOf(path)); })
      .def("import_text",
           [](Registry& r, const std::string& text, const py::object& root, bool replace,
              std::optional<double> timeout) {
             const auto rootUnits = optionalUnits(root);
             py::gil_scoped_release unlocked;
             r.importText(text, rootUnits, replace, seconds(timeout));
           })
      .def(
          "begin",
          [](Registry& r, std::optional<double> timeout) {
            return std::make_unique<NativeChange>(r, timeout);
          },
          py::keep_alive<0, 1>())
      .def(
          "watch",
          [](Registry&, const py::str& path) {
            const std::u16string root = unitsOf(path);
            py::gil_scoped_release unlocked;
            return std::make_unique<Feed>(root);
          },
          py::keep_alive<0, 1>());

  py::class_<Feed>(module, "Feed")
      .def("wait", &waitForCommit, py::arg("timeout"))
      .def("read", &readChanges);

  py::class_<NativeChange>(module, "Change")
      .def("set", &NativeChange::set)
      .def("delete", &NativeChange::remove)
      .def("commit", &NativeChange::commit)
      .def("discard", &NativeChange::discard);
}
