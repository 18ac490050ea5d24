#include <core/PosixSync.h>

#include <QDir>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace sync::contract {

class TestPublicHeaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachIncludesPosixSyncFirst_data();
    void eachIncludesPosixSyncFirst();
};

void TestPublicHeaders::eachIncludesPosixSyncFirst_data()
{
    QTest::addColumn<QString>("path");

    const QDir source(QStringLiteral(VELMIO_SOURCE_DIRECTORY "/src"));
    for (const QString& library : source.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (library == u"base") // not installed
            continue;
        const QDir directory(source.filePath(library));
        for (const QString& header : directory.entryList({u"*.h"_s}, QDir::Files)) {
            if (header != u"PosixSync.h")
                QTest::newRow(qPrintable(library + u'/' + header)) << directory.filePath(header);
        }
    }
}

// A host that compiles without our flags succeeds, or gets an error that says what to do.
void TestPublicHeaders::eachIncludesPosixSyncFirst()
{
    QFETCH(QString, path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));

    QByteArray first;
    while (first.isEmpty() && !file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (line.startsWith("#include"))
            first = line;
    }

    QCOMPARE(first, QByteArray("#include <core/PosixSync.h>"));
}

} // namespace sync::contract

QTEST_GUILESS_MAIN(sync::contract::TestPublicHeaders)
#include "TestPublicHeaders.moc"
