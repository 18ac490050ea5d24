#include "Trials.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <numeric>

using namespace Qt::StringLiterals;

namespace sync::test {

namespace {

constexpr char ScaleVariable[] = "VELMIO_FAULT_SCALE";
constexpr char TrialVariable[] = "VELMIO_FAULT_TRIAL";

} // namespace

double faultScale()
{
    const double scale = qEnvironmentVariable(ScaleVariable).toDouble();
    return scale > 0 ? scale : 1;
}

QList<quint32> trialNumbers(int count)
{
    if (const quint32 only = qEnvironmentVariable(TrialVariable).toUInt(); only > 0)
        return {only};
    QList<quint32> numbers(std::max(1, static_cast<int>(std::lround(count * faultScale()))));
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
}

int everyCallStep()
{
    constexpr int BeyondTheLastCall = 1'000'000;
    if (qEnvironmentVariableIsSet(TrialVariable))
        return BeyondTheLastCall;
    return std::max(1, static_cast<int>(std::lround(1 / faultScale())));
}

int firstCall()
{
    return std::max(1, qEnvironmentVariableIntValue(TrialVariable));
}

QByteArray repeatWith(quint32 trial)
{
    const char* const function = QTest::currentTestFunction();
    const char* const row = QTest::currentDataTag();
    QByteArray command = QByteArray(TrialVariable) + '=' + QByteArray::number(trial) + ' ' +
                         QFileInfo(QCoreApplication::applicationFilePath()).fileName().toUtf8() +
                         ' ' + function;
    if (row)
        command += QByteArray(" '") + function + ':' + row + '\'';
    return "repeat with: " + command;
}

QString scratchTemplate()
{
    const QString memory = u"/dev/shm"_s;
    const bool usable = QFileInfo(memory).isDir() && QFileInfo(memory).isWritable();
    return (usable ? memory : QDir::tempPath()) + u"/velmio-fault-XXXXXX"_s;
}

} // namespace sync::test
