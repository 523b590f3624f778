// RegistryReport: the entries of a check or a description of the registry
// files, handed to a client as an IRegistryReport.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vesk/orlo/DLLAlloced.h"
#include "vesk/orlo/RefCounted.h"
#include "vesk/tarnhive/IRegistryReport.h"

namespace vesk::tarnhive {

class RegistryReport
    : public orlo::RefCountedImplementation<IRegistryReport, orlo::RefCountedThreadSafePolicy>,
      public orlo::DLLAlloced {
 public:
  struct Entry {
    std::string group;
    std::string name;
    bool isText;
    std::string text;
    std::int64_t number;
  };

  void addText(std::string group, std::string name, std::string text) {
    entries_.push_back({std::move(group), std::move(name), true, std::move(text), 0});
  }
  void addNumber(std::string group, std::string name, std::int64_t number) {
    entries_.push_back({std::move(group), std::move(name), false, std::string(), number});
  }
  void addProblem(std::string file, std::string text, std::int64_t offset) {
    entries_.push_back({"problem", std::move(file), true, std::move(text), offset});
  }

  std::uint32_t getCount(TarnhiveStatus* status) override;
  bool getEntry(std::uint32_t index, orlo::NarrowString& group, orlo::NarrowString& name,
                bool* isText, orlo::NarrowString& text, std::int64_t* number,
                TarnhiveStatus* status) override;

 private:
  std::vector<Entry> entries_;
};

}  // namespace vesk::tarnhive
