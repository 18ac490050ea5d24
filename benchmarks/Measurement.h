#pragma once

#include <QJsonObject>

#include <chrono>
#include <vector>

namespace velmio::benchmarks {

/// What one run of a workload shows.
struct Measurement
{
    qint64 operations = 0;
    double seconds = 0;  ///< All operations together.
    double medianNs = 0; ///< Of one operation, as are the two that follow.
    double p99Ns = 0;
    double p999Ns = 0;
    double bytes = 0;          ///< Of memory or disk, where the workload is about that.
    std::vector<double> parts; ///< Seconds of consecutive parts, where it is about those.

    QJsonObject toJson() const;
    static Measurement fromJson(const QJsonObject& json);
};

/// Runs what is to be measured and nothing else: its instructions are counted under this name.
template <typename Operation>
[[gnu::noinline]] void measured(Operation& operation)
{
    operation();
}

/// Times operations one by one.
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

/// The value below which the share `part` of the values lies; 0 without values.
double quantile(std::vector<double> values, double part);
double median(std::vector<double> values);

} // namespace velmio::benchmarks
