#include <core/SecretText.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

SecureBytes bytesOf(const QByteArray& text)
{
    return SecureBytes::copyOf(
        {reinterpret_cast<const unsigned char*>(text.constData()),
         static_cast<std::size_t>(text.size())});
}

QByteArray arrayOf(const SecureBytes& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())};
}

} // namespace

class TestSecretText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void utf8ComesBack_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << u""_s;
        QTest::newRow("ascii") << u"correct horse"_s;
        QTest::newRow("NUL inside") << u"a\0b"_s;
        QTest::newRow("all lengths of a character") << u"a\u00e9\u20ac\U0001F511"_s;
    }

    void utf8ComesBack()
    {
        QFETCH(QString, text);

        const auto secret = SecretText::fromUtf8(bytesOf(text.toUtf8()));

        QVERIFY(secret && !secret->isNull());
        QCOMPARE(secret->toString(), text);
        QCOMPARE(arrayOf(secret->toUtf8()), text.toUtf8());
    }

    void invalidUtf8IsRefused()
    {
        QVERIFY(!SecretText::fromUtf8(bytesOf("a\xff")));
        QVERIFY(!SecretText::fromUtf8(bytesOf("\xc3")));
    }

    void noTextIsNull()
    {
        const SecretText none;

        QVERIFY(none.isNull() && none.view().isNull() && none.toString().isNull());
        QCOMPARE(arrayOf(none.toUtf8()), QByteArray());
    }

    void viewAndCopiesShareTheMemory()
    {
        const SecretText secret = *SecretText::fromUtf8(bytesOf("key"));
        const SecretText copy = secret;

        QCOMPARE(copy.view().constData(), secret.view().constData());
        QVERIFY(secret.toString().constData() != secret.view().constData());
    }
};

} // namespace sync::core::crypto

QTEST_GUILESS_MAIN(sync::core::crypto::TestSecretText)
#include "TestSecretText.moc"
