#include "Processes.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QProcess>

#include <memory>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

namespace {

void start(QProcess& process, const Job& job)
{
    process.start(
        QCoreApplication::applicationFilePath(), QStringList{u"job"_s} + job.toArguments());
}

Measurement resultOf(QProcess& process, const Job& job)
{
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        throw std::runtime_error(
            u"%1 by %2: %3"_s
                .arg(job.workload, job.engine, QString::fromUtf8(process.readAllStandardError()))
                .toStdString());
    return Measurement::fromJson(QJsonDocument::fromJson(process.readAllStandardOutput()).object());
}

} // namespace

Measurement performInProcess(const Job& job)
{
    QProcess process;
    start(process, job);
    return resultOf(process, job);
}

std::vector<Measurement> performTogether(const std::vector<Job>& jobs)
{
    std::vector<std::unique_ptr<QProcess>> processes;
    for (const Job& job : jobs)
        start(*processes.emplace_back(std::make_unique<QProcess>()), job);
    for (const auto& process : processes) {
        process->waitForReadyRead(-1);
        process->readLine(); // "ready"
    }
    for (const auto& process : processes) {
        process->write("go\n");
        process->waitForBytesWritten();
    }
    std::vector<Measurement> results;
    for (std::size_t index = 0; index < jobs.size(); ++index)
        results.push_back(resultOf(*processes[index], jobs[index]));
    return results;
}

} // namespace velmio::benchmarks
