#include <config/Sha256FileHash.h>

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using sync::config::Sha256FileHash;

class TestSha256FileHash : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knownContentsHaveTheirPublishedHash_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("hash");
        // FIPS 180-2, appendix B, and the well-known one of nothing.
        QTest::newRow("abc")
            << QByteArray("abc")
            << u"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"_s;
        QTest::newRow("a million a")
            << QByteArray(1'000'000, 'a')
            << u"cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"_s;
        QTest::newRow("empty")
            << QByteArray()
            << u"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"_s;
    }

    void knownContentsHaveTheirPublishedHash()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, hash);
        const QTemporaryDir directory;
        const QString path = directory.filePath(u"file"_s);
        QVERIFY(writeFile(path, content));

        QCOMPARE(Sha256FileHash().GetFileHash(path), hash);
    }

    void contentsOfManyBlocksAreHashedWhole()
    {
        QByteArray content(3 * 256 * 1024 + 17, Qt::Uninitialized);
        for (qsizetype at = 0; at < content.size(); ++at)
            content[at] = char(at * 31 % 251);
        const QTemporaryDir directory;
        const QString path = directory.filePath(u"large"_s);
        QVERIFY(writeFile(path, content));

        const QString hash = Sha256FileHash().GetFileHash(path);

        QCOMPARE(
            hash, QString::fromLatin1(
                      QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex()));
    }

    void aMissingFileHasNoHash()
    {
        const QTemporaryDir directory;

        QCOMPARE(Sha256FileHash().GetFileHash(directory.filePath(u"missing"_s)), QString());
        QCOMPARE(Sha256FileHash().GetFileHash(QString()), QString());
    }

    void aDirectoryHasNoHash()
    {
        const QTemporaryDir directory;

        QCOMPARE(Sha256FileHash().GetFileHash(directory.path()), QString());
    }

    void aPipeHasNoHashAndIsNotWaitedFor()
    {
        const QTemporaryDir directory;
        const QString path = directory.filePath(u"pipe"_s);
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);

        QCOMPARE(Sha256FileHash().GetFileHash(path), QString());
    }

    void aDeviceHasNoHash()
    {
        QCOMPARE(Sha256FileHash().GetFileHash(u"/dev/null"_s), QString());
        QCOMPARE(Sha256FileHash().GetFileHash(u"/dev/zero"_s), QString());
    }

    void aFileWhoseReadingFailsHasNoHash()
    {
        // A regular file that opens, and whose first page no process can read.
        const QString path = u"/proc/self/mem"_s;
#ifdef Q_OS_LINUX
        QVERIFY(QFileInfo(path).isFile());
#endif

        QCOMPARE(Sha256FileHash().GetFileHash(path), QString());
    }

    void aLinkHasTheHashOfItsFile()
    {
        const QTemporaryDir directory;
        const QString path = directory.filePath(u"file"_s);
        const QString link = directory.filePath(u"link"_s);
        QVERIFY(writeFile(path, "abc"));
        QVERIFY(QFile::link(path, link));

        QCOMPARE(Sha256FileHash().GetFileHash(link), Sha256FileHash().GetFileHash(path));
        QVERIFY(!Sha256FileHash().GetFileHash(link).isEmpty());
    }

private:
    static bool writeFile(const QString& path, const QByteArray& content)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
    }
};

QTEST_APPLESS_MAIN(TestSha256FileHash)
#include "TestSha256FileHash.moc"
