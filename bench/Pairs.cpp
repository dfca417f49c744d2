#include "Pairs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

namespace bench {
namespace {

constexpr char kCall[] = "/call";
constexpr char kBare[] = "/bare";

/// Runs may come in random order; the table keeps the order in which the pairs were made.
std::vector<std::string>& subjects() {
  static std::vector<std::string> all;
  return all;
}

/// Not a number when there is nothing to take it of.
double median(std::vector<double> values) {
  if (values.empty()) {
    return std::nan("");
  }
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

}  // namespace

void pair(const std::string& subject, const Body& call, const Body& bare) {
  subjects().push_back(subject);
  benchmark::RegisterBenchmark((subject + kCall).c_str(), call)->UseRealTime();
  benchmark::RegisterBenchmark((subject + kBare).c_str(), bare)->UseRealTime();
}

struct PairTable::Row {
  std::string subject;
  std::vector<double> call;  // microseconds
  std::vector<double> bare;
};

PairTable::PairTable() {
  for (const std::string& subject : subjects()) {
    m_rows.push_back({subject, {}, {}});
  }
}

PairTable::~PairTable() = default;

PairTable::Row& PairTable::row(const std::string& subject) {
  return *std::find_if(m_rows.begin(), m_rows.end(),
                       [&](const Row& row) { return row.subject == subject; });
}

bool PairTable::ReportContext(const Context& context) {
  PrintBasicContext(&std::cerr, context);
  return true;
}

void PairTable::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.error_occurred) {
      std::cerr << run.benchmark_name() << ": " << run.error_message << '\n';
      m_failed = true;
    } else if (run.run_type == Run::RT_Iteration) {
      const std::string& name = run.run_name.function_name;
      const std::string subject = name.substr(0, name.rfind('/'));
      const bool isCall = name.substr(subject.size()) == kCall;
      const double each = run.real_accumulated_time / static_cast<double>(run.iterations) * 1e6;
      (isCall ? row(subject).call : row(subject).bare).push_back(each);
    }
  }
}

void PairTable::Finalize() {
  std::printf("%-36s %14s %14s %7s %5s\n", "median of each", "call, us", "bare, us", "ratio",
              "runs");
  for (const Row& row : m_rows) {
    if (row.call.empty() && row.bare.empty()) {
      continue;
    }
    const double call = median(row.call);
    const double bare = median(row.bare);
    std::printf("%-36s %14.1f %14.1f %7.2f %5zu\n", row.subject.c_str(), call, bare, call / bare,
                row.call.size());
  }
}

}  // namespace bench
