// What reading an expression list costs by its length: ComplexExpression
// Tokenize of lists of about 1 KB, 100 KB and 1 MB. The time per byte
// ("s_per_byte") should stay flat from the smallest to the largest: reading
// works on windows of one shared text, so a list costs time in proportion to
// its length.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "parser/complex_expression.h"

namespace {

// A list of typical expressions joined by AND and OR, about nBytes long.
std::string FlatList(std::size_t nBytes) {
  static const char* const kItems[] = {
      "Priority = High",
      "\"Due Date\" Between 1/1/2003 And 3/1/2003",
      "Status In Open, New, \"In Work\"",
      "Not Name Like \"%log%\"",
      "Difficulty >= 2",
  };
  std::string sText;
  for (std::size_t i = 0; sText.size() < nBytes; ++i) {
    if (i > 0) sText += i % 3 == 0 ? " OR " : " AND ";
    sText += kItems[i % 5];
  }
  return sText;
}

// The same, with every few expressions in a group of two levels.
std::string GroupedList(std::size_t nBytes) {
  std::string sText;
  for (std::size_t i = 0; sText.size() < nBytes; ++i) {
    if (i > 0) sText += " AND ";
    sText += "(Priority = High OR (Status In Open, New AND \"Due Date\" < 1/1/2003))";
  }
  return sText;
}

void Run(benchmark::State& state, const std::string& sText, bool bIsSort) {
  for (auto _ : state) {
    vlq::ComplexExpression oList;
    const bool bOk = oList.Tokenize(sText, bIsSort);
    benchmark::DoNotOptimize(bOk);
    if (!bOk) state.SkipWithError("the list didn't read");
  }
  const double bytes = static_cast<double>(sText.size());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(sText.size()));
  state.counters["bytes"] = bytes;
  state.counters["s_per_byte"] =
      benchmark::Counter(bytes, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_TokenizeFlatList(benchmark::State& state) {
  Run(state, FlatList(static_cast<std::size_t>(state.range(0))), false);
}
void BM_TokenizeGroupedList(benchmark::State& state) {
  Run(state, GroupedList(static_cast<std::size_t>(state.range(0))), false);
}

BENCHMARK(BM_TokenizeFlatList)->Arg(1 << 10)->Arg(10 << 10)->Arg(100 << 10)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TokenizeGroupedList)->Arg(1 << 10)->Arg(10 << 10)->Arg(100 << 10)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);

}  // namespace
