#include "Measurement.h"

#include <QJsonArray>

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

QJsonObject Measurement::toJson() const
{
    QJsonArray partList;
    for (const double part : parts)
        partList.append(part);
    return {{u"operations"_s, operations}, {u"seconds"_s, seconds}, {u"medianNs"_s, medianNs},
            {u"p99Ns"_s, p99Ns},           {u"p999Ns"_s, p999Ns},   {u"bytes"_s, bytes},
            {u"parts"_s, partList}};
}

Measurement Measurement::fromJson(const QJsonObject& json)
{
    Measurement result;
    result.operations = json[u"operations"_s].toInteger();
    result.seconds = json[u"seconds"_s].toDouble();
    result.medianNs = json[u"medianNs"_s].toDouble();
    result.p99Ns = json[u"p99Ns"_s].toDouble();
    result.p999Ns = json[u"p999Ns"_s].toDouble();
    result.bytes = json[u"bytes"_s].toDouble();
    const QJsonArray partList = json[u"parts"_s].toArray();
    for (const auto& part : partList)
        result.parts.push_back(part.toDouble());
    return result;
}

Measurement Timer::result() const
{
    Measurement result;
    result.operations = qint64(times.size());
    result.seconds = std::accumulate(times.begin(), times.end(), 0.0) / 1e9;
    result.medianNs = quantile(times, 0.5);
    result.p99Ns = quantile(times, 0.99);
    result.p999Ns = quantile(times, 0.999);
    return result;
}

double quantile(std::vector<double> values, double part)
{
    if (values.empty())
        return 0;
    const auto at = std::ptrdiff_t(part * double(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return values[std::size_t(at)];
}

double median(std::vector<double> values)
{
    return quantile(std::move(values), 0.5);
}

} // namespace velmio::benchmarks
