// Benchmarks come in pairs: a call of the library, and the bare work it cannot do without.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

using Body = std::function<void(benchmark::State&)>;

/// Registers "<subject>/call" and "<subject>/bare", measured by the clock on the wall.
void pair(const std::string& subject, const Body& call, const Body& bare);

void registerCatalogue();
void registerVolume();

/// A reporter that gathers the runs and prints a table of medians and their ratio at the end.
class PairTable : public benchmark::BenchmarkReporter {
public:
  PairTable();
  ~PairTable() override;
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

  bool failed() const { return m_failed; }

private:
  struct Row;
  Row& row(const std::string& subject);

  std::vector<Row> m_rows;
  bool m_failed = false;
};

}  // namespace bench
