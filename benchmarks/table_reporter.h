/// Prints benchmarks as one table: what, ours, floor, ratio. Benchmarks come in pairs named
/// "what/ours" and "what/floor"; of each the median of all repetitions counts.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace zwbench {

class TableReporter : public benchmark::BenchmarkReporter {
  public:
    /// rows: what the pairs are called, in the order of the table.
    explicit TableReporter(const std::vector<std::string>& rows) : order(rows) {}

    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

  private:
    struct Pair {
        std::vector<double> ours;  // seconds an operation
        std::vector<double> floor;
    };
    const std::vector<std::string>& order;
    std::map<std::string, Pair> pairs;
};

}  // namespace zwbench
