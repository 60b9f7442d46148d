#include "benchmarks/table_reporter.h"

#include <algorithm>
#include <cstdio>

namespace zwbench {
namespace {

double Median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::string Duration(double seconds) {
    char text[32];
    if (seconds >= 1) {
        std::snprintf(text, sizeof(text), "%.2f s", seconds);
    } else if (seconds >= 1e-3) {
        std::snprintf(text, sizeof(text), "%.2f ms", seconds * 1e3);
    } else {
        std::snprintf(text, sizeof(text), "%.2f us", seconds * 1e6);
    }
    return text;
}

}  // namespace

bool TableReporter::ReportContext(const Context&) {
    std::printf("%-44s %12s %12s %7s\n", "what", "ours", "floor", "ratio");
    return true;
}

void TableReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.error_occurred) {
            std::printf("%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
            continue;
        }
        if (run.run_type != Run::RT_Iteration) continue;
        const std::string name = run.run_name.function_name;
        const size_t slash = name.rfind('/');
        const std::string what = name.substr(0, slash);
        const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
        Pair& pair = pairs[what];
        (name.substr(slash) == "/ours" ? pair.ours : pair.floor).push_back(seconds);
    }
}

void TableReporter::Finalize() {
    for (const std::string& what : order) {
        if (!pairs.contains(what)) continue;  // left out by a filter
        const double ours = Median(pairs[what].ours);
        const double floor = Median(pairs[what].floor);
        std::printf("%-44s %12s %12s %7.2f\n", what.c_str(), Duration(ours).c_str(),
                    Duration(floor).c_str(), floor > 0 ? ours / floor : 0);
    }
}

}  // namespace zwbench
