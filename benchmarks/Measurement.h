#pragma once

#include <QJsonObject>

#include <chrono>
#include <vector>

namespace velmio::benchmarks {

/// The result of one run of a workload.
struct Measurement
{
    qint64 operations = 0;
    double seconds = 0;  ///< Total of all operations.
    double medianNs = 0; ///< The next three are times of a single operation.
    double p99Ns = 0;
    double p999Ns = 0;
    double bytes = 0;          ///< Memory or disk usage, if the workload measures it.
    std::vector<double> parts; ///< Seconds of consecutive parts, if the workload measures them.

    QJsonObject toJson() const;
    static Measurement fromJson(const QJsonObject& json);
};

/// Runs the measured code and nothing else. Valgrind counts the instructions below this name.
template <typename Operation>
[[gnu::noinline]] void measured(Operation& operation)
{
    operation();
}

/// Times single operations.
class Timer
{
public:
    using Clock = std::chrono::steady_clock;

    explicit Timer(int operations) { times.reserve(std::size_t(operations)); }

    template <typename Operation>
    void time(Operation operation)
    {
        const auto start = Clock::now();
        measured(operation);
        times.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count());
    }

    Measurement result() const;

    const std::vector<double>& nanoseconds() const { return times; }

private:
    std::vector<double> times;
};

/// The value below which the fraction `part` of the values lies; 0 when there are no values.
double quantile(std::vector<double> values, double part);
double median(std::vector<double> values);

} // namespace velmio::benchmarks
