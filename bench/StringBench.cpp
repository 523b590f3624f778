// Costs of the string operations that bucket names lean on: comparison
// ignoring case (the order of every name map) and the UTF-8 record form.
#include <benchmark/benchmark.h>

#include "vesk/orlo/StringCase.h"
#include "vesk/orlo/Utf8.h"

namespace {

using vesk::orlo::WideString;

WideString makeName(int i) {
  WideString name(u"/Company/Product/Settings/Group");
  name.append(static_cast<char16_t>(u'A' + i % 26));
  return name;
}

void compareIgnoringCase(benchmark::State& state) {
  const WideString a = makeName(1);
  const WideString b = makeName(2);
  for (auto _ : state) benchmark::DoNotOptimize(vesk::orlo::compareIgnoreCase(a, b));
}
BENCHMARK(compareIgnoringCase);

void utf8RoundTrip(benchmark::State& state) {
  const WideString name = makeName(3);
  for (auto _ : state) benchmark::DoNotOptimize(vesk::orlo::fromUtf8(vesk::orlo::toUtf8(name)));
}
BENCHMARK(utf8RoundTrip);

}  // namespace
