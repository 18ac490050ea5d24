#pragma once

#include <QString>

#include <initializer_list>
#include <utility>

namespace velmioctl {

/// Metrics in Prometheus' text format (prometheus.io/docs/instrumenting/exposition_formats).
class Metrics
{
public:
    using Labels = std::initializer_list<std::pair<const char*, QString>>;

    /// Begins a metric, whose samples follow.
    void begin(QStringView name, QStringView help);
    void add(Labels labels, long long value);
    /// A metric with one sample.
    void add(QStringView name, QStringView help, long long value);

    QByteArray text() const { return lines.toUtf8(); }

private:
    QString current;
    QString lines;
};

} // namespace velmioctl
