#include <support/CapturedWarnings.h>

#include <QLoggingCategory>

using namespace Qt::StringLiterals;

namespace sync::test {

namespace {

QStringList captured;

void capture(QtMsgType, const QMessageLogContext& context, const QString& text)
{
    captured.append(QString::fromUtf8(context.category) + u": "_s + text);
}

} // namespace

CapturedWarnings::CapturedWarnings()
    : previous(qInstallMessageHandler(capture))
{
    captured.clear();
}

CapturedWarnings::~CapturedWarnings()
{
    qInstallMessageHandler(previous);
}

QStringList CapturedWarnings::texts() const
{
    return captured;
}

} // namespace sync::test
