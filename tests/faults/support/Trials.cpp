#include "Trials.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <cmath>

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

int runTrials(int standardCount, const std::function<QByteArray(quint32 trial)>& findingOf)
{
    const quint32 only = qEnvironmentVariable(TrialVariable).toUInt();
    const auto scaled =
        static_cast<quint32>(std::max(1L, std::lround(standardCount * faultScale())));
    const quint32 first = only > 0 ? only : 1;
    const quint32 last = only > 0 ? only : scaled;
    int count = 0;
    for (quint32 trial = first; trial <= last; ++trial) {
        const QByteArray finding = findingOf(trial);
        ++count;
        if (!finding.isEmpty())
            QTest::qFail((finding + '\n' + repeatWith(trial)).constData(), __FILE__, __LINE__);
        if (QTest::currentTestFailed())
            break;
    }
    return count;
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
