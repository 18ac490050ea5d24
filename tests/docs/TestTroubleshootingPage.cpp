// docs/troubleshooting.md quotes texts that our programs really have.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QString contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// The texts of all sources, with literals that are written in several pieces joined.
QString literalsOfSources()
{
    static const QRegularExpression seam(u"\"(?:_s)?\\s*(?:\\+\\s*)?u?\""_s);
    QString text;
    for (const auto& room : {u"src"_s, u"tools"_s}) {
        QDirIterator files(
            QStringLiteral(VELMIO_SOURCE_DIRECTORY "/") + room, {u"*.cpp"_s, u"*.h"_s}, QDir::Files,
            QDirIterator::Subdirectories);
        while (files.hasNext())
            text += contentOf(files.next()).remove(seam);
    }
    return text;
}

} // namespace

class TestTroubleshootingPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void quotesTextsOfThePrograms();
};

void TestTroubleshootingPage::quotesTextsOfThePrograms()
{
    // SQLite's own text.
    const QStringList foreign{u"database is locked"_s};
    const QString page =
        contentOf(QStringLiteral(VELMIO_SOURCE_DIRECTORY "/docs/troubleshooting.md"));
    const QString sources = literalsOfSources();
    static const QRegularExpression heading(u"^### (.*)$"_s, QRegularExpression::MultilineOption);
    static const QRegularExpression quotation(u"\"([^\"]+)\""_s);

    QStringList missing;
    int quotations = 0;
    for (const auto& line : heading.globalMatch(page)) {
        for (const auto& quoted : quotation.globalMatch(line.captured(1))) {
            ++quotations;
            if (!foreign.contains(quoted.captured(1)) && !sources.contains(quoted.captured(1)))
                missing.append(quoted.captured(1));
        }
    }

    QVERIFY(quotations > 20);
    QCOMPARE(missing, QStringList());
}

QTEST_GUILESS_MAIN(TestTroubleshootingPage)
#include "TestTroubleshootingPage.moc"
