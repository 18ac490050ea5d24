#include <core/Cipher.h>
#include <core/Crypto.h>
#include <core/HostKeyStore.h>

#include <support/CapturedWarnings.h>

#include <QByteArrayList>
#include <QFile>
#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;

using sync::test::CapturedWarnings;

namespace {

const QByteArray KeyBytes(32, 'k');
const QByteArray OtherKeyBytes(32, 'o');
const QString Secret = u"correct horse"_s;
const SecretContext Here{u"here"_s, "record", {"server"}};

/// A store without keys.
class BrokenKeyStore : public KeyStore
{
public:
    explicit BrokenKeyStore(KeyError::Cause cause)
        : cause(cause)
    {
    }

    KeyBackend backend() const override { return KeyBackend::Keychain; }
    KeyRing read() override { throw KeyError(cause, u"The keychain is locked. Unlock it."_s); }
    KeyRing change(const Change&) override { return read(); }

private:
    const KeyError::Cause cause;
};

/// A store of another kind, which has no keys yet and creates none.
class EmptyKeyStore : public KeyStore
{
public:
    KeyBackend backend() const override { return KeyBackend::File; }
    KeyRing read() override { return {}; }
    KeyRing change(const Change& change) override { return change({}); }
};

QByteArray encrypted(const QString& secret)
{
    return Encrypt(secret).toByteArray();
}

QString hexIdOf(const QByteArray& keyBytes)
{
    return QString::fromLatin1(HostKeyStore(keyBytes).read().current().id().toHex());
}

} // namespace

class TestCrypto : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setKeyStore(std::make_shared<HostKeyStore>(KeyBytes)); }

    void cleanup() { setKeyStore(nullptr); }

    void anyStringComesBack_data()
    {
        QTest::addColumn<QString>("secret");
        QString allUnits;
        for (int unit = 0; unit <= 0xFFFF; ++unit)
            allUnits.append(QChar(unit));

        QTest::newRow("null") << QString();
        QTest::newRow("empty") << u""_s;
        QTest::newRow("one character") << u"x"_s;
        QTest::newRow("NUL inside") << u"a\0b"_s;
        QTest::newRow("NUL only") << QString(1, QChar(0));
        QTest::newRow("high surrogate alone") << QString(QChar(0xD800));
        QTest::newRow("low surrogate alone") << u"a"_s + QChar(0xDFFF) + u"b"_s;
        QTest::newRow("surrogates in the wrong order") << QString(QChar(0xDC00)) + QChar(0xD800);
        QTest::newRow("byte order mark") << QString(QChar(0xFEFF)) + u"a"_s;
        QTest::newRow("text of the supplementary planes") << u"\U0001F511 key"_s;
        QTest::newRow("31 units, which fill a block") << QString(31, u'p');
        QTest::newRow("32 units") << QString(32, u'p');
        QTest::newRow("every code unit") << allUnits;
        QTest::newRow("1 MB") << QString(512 * 1024, u'm');
    }

    void anyStringComesBack()
    {
        QFETCH(QString, secret);

        const QString read = Decrypt(Encrypt(secret));

        QVERIFY(read == secret); // Not QCOMPARE, which would print a megabyte.
        QCOMPARE(read.isNull(), secret.isNull());
    }

    void anotherKeyStoreWithTheSameKeyReadsTheValue()
    {
        const QVariant value = Encrypt(Secret);
        setKeyStore(std::make_shared<HostKeyStore>(OtherKeyBytes, QList<QByteArray>{KeyBytes}));

        const QString read = Decrypt(value);

        QCOMPARE(read, Secret);
    }

    void equalSecretsGiveDifferentValues()
    {
        QSet<QByteArray> values;

        for (int i = 0; i < 100; ++i)
            values.insert(encrypted(Secret));

        QCOMPARE(values.size(), 100);
    }

    void valueHoldsNeitherTheTextNorItsEncoding()
    {
        const QByteArray value = encrypted(Secret);

        const auto* units = reinterpret_cast<const char*>(Secret.utf16());
        QVERIFY(!value.contains(Secret.toUtf8()));
        QVERIFY(!value.contains(QByteArray(units, Secret.size() * 2)));
    }

    void shortSecretsOfDifferentLengthGiveValuesOfOneLength()
    {
        const qsizetype emptySize = encrypted(u""_s).size();

        QCOMPARE(encrypted(QString()).size(), emptySize);
        QCOMPARE(encrypted(Secret).size(), emptySize);
        QCOMPARE(encrypted(QString(31, u'p')).size(), emptySize);
    }

    void nullColumnReadsAsNullWithoutAWarning_data()
    {
        QTest::addColumn<QVariant>("column");
        QTest::newRow("invalid") << QVariant();
        QTest::newRow("typed NULL") << QVariant(QMetaType::fromType<QByteArray>());
        QTest::newRow("typed NULL text") << QVariant(QMetaType::fromType<QString>());
        QTest::newRow("null bytes") << QVariant(QByteArray());
        QTest::newRow("null text") << QVariant(QString());
    }

    void nullColumnReadsAsNullWithoutAWarning()
    {
        QFETCH(QVariant, column);
        CapturedWarnings warnings;

        const QString read = Decrypt(column);

        QVERIFY(read.isNull());
        QCOMPARE(warnings.texts(), QStringList());
    }

    void everyFlippedBitIsDamage()
    {
        const QByteArray value = encrypted(Secret);

        for (qsizetype bit = 0; bit < value.size() * 8; ++bit) {
            QByteArray flipped = value;
            flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
            CapturedWarnings warnings;

            QVERIFY(Decrypt(flipped).isNull());
            QCOMPARE(
                warnings.texts(),
                {u"velmio.crypto: A stored password cannot be read: it is damaged."_s});
        }
    }

    void everyTruncationIsDamage()
    {
        const QByteArray value = encrypted(Secret);

        for (qsizetype size = 0; size < value.size(); ++size) {
            CapturedWarnings warnings;

            QVERIFY(Decrypt(value.left(size)).isNull());
            QCOMPARE(
                warnings.texts(),
                {u"velmio.crypto: A stored password cannot be read: it is damaged."_s});
        }
    }

    void oneByteMoreIsDamage()
    {
        const QByteArray value = encrypted(Secret) + 'x';
        CapturedWarnings warnings;

        const QString read = Decrypt(value);

        QVERIFY(read.isNull());
        QCOMPARE(
            warnings.texts(),
            {u"velmio.crypto: A stored password cannot be read: it is damaged."_s});
    }

    void foreignContentIsDamage_data()
    {
        QTest::addColumn<QVariant>("column");
        QTest::newRow("text") << QVariant(u"in clear"_s);
        QTest::newRow("number") << QVariant(42);
        QTest::newRow("something that is no bytes") << QVariant(QVariantList{1});
    }

    void foreignContentIsDamage()
    {
        QFETCH(QVariant, column);
        CapturedWarnings warnings;

        const QString read = Decrypt(column);

        QVERIFY(read.isNull());
        QCOMPARE(
            warnings.texts(),
            {u"velmio.crypto: A stored password cannot be read: it is damaged."_s});
    }

    void anotherKeyIsNamedInTheWarning()
    {
        const QVariant value = Encrypt(Secret);
        setKeyStore(std::make_shared<HostKeyStore>(OtherKeyBytes));
        CapturedWarnings warnings;

        const QString read = Decrypt(value);

        QVERIFY(read.isNull());
        QCOMPARE(
            warnings.texts(), {u"velmio.crypto: A stored password cannot be read: it was stored "
                               u"under another key, %1 of "
                               "the host program; the current key is %2 of the host program."_s.arg(
                                   hexIdOf(KeyBytes), hexIdOf(OtherKeyBytes))});
    }

    void missingKeyIsNamedInTheWarning()
    {
        const QVariant value = Encrypt(Secret);
        setKeyStore(std::make_shared<EmptyKeyStore>());
        CapturedWarnings warnings;

        const QString read = Decrypt(value);

        QVERIFY(read.isNull());
        QCOMPARE(
            warnings.texts(),
            {u"velmio.crypto: A stored password cannot be read: there is no key in "
             u"the key file; it was "
             "stored under key %1 of the host program."_s.arg(hexIdOf(KeyBytes))});
    }

    void unusableStoreIsNamedInTheWarning()
    {
        const QVariant value = Encrypt(Secret);
        setKeyStore(std::make_shared<BrokenKeyStore>(KeyError::Cause::Locked));
        CapturedWarnings warnings;

        const QString read = Decrypt(value);

        QVERIFY(read.isNull());
        QCOMPARE(
            warnings.texts(),
            {u"velmio.crypto: A stored password cannot be read: there is no key. The "
             "keychain is locked. Unlock it."_s});
    }

    void unknownVersionIsNamedInTheWarning()
    {
        // A value of a later version: its header is laid out like that of the others, checksum
        // included.
        const QByteArray laterValue = QByteArray::fromHex(
            "0303000102030405060708090a0b0c0d0e0f8b3addfe"
            "000000000000000000000000000000000000000000000000000000000000000000000000000000000000");
        CapturedWarnings warnings;

        const QString read = Decrypt(laterValue);

        QVERIFY(read.isNull());
        QCOMPARE(
            warnings.texts(),
            {u"velmio.crypto: A stored password cannot be read: its format has the "
             "unknown version 3."_s});
    }

    // Values of the layouts in Cipher.cpp, made once by another program with libsodium.
    void frozenValuesOfEachFormAreRead_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<int>("version");

        QTest::newRow("unbound")
            << QByteArray::fromHex(
                   "01034d4395f5b0aabad73c4aa5cbb2a1ccb2b65bd38c00010203040506070809"
                   "0a0b0c0d0e0f1011121314151617d683c0640ecfb9ac8f3cb62feb5ae28bd3d7"
                   "0164cdad8c14907a6d6b2e47b6d746490b18f123c8fa67f4864dd17319d8a4b8"
                   "32573494c095d0a93f13712352841db138bd43121225c90cf78c5c6b4916")
            << 1;
        QTest::newRow("bound to two servers")
            << QByteArray::fromHex(
                   "02034d4395f5b0aabad73c4aa5cbb2a1ccb2fb3d425c02001e7e500b5b2ba670"
                   "f82d779cc6a3bc686e4ca27489c356156924ad62b78d5afa913c3ff60f013f09"
                   "5c42c613c9544d8201f45314f14e153628873dcc0d43c2af0001020304050607"
                   "08090a0b0c0d0e0f1011121314151617d683c0640ecfb9ac8f3cb62feb5ae28b"
                   "d3d70164cdad8c14907a6d6b2e47b6d746490b18f123c8fa67f4864dd17319d8"
                   "a4b832573494c095d0a93f13712352842aa3ef44a054cecea44e4860a16fe1f2")
            << 2;
    }

    void frozenValuesOfEachFormAreRead()
    {
        QFETCH(QByteArray, value);
        QFETCH(int, version);

        const Unsealed opened =
            unseal(value, keyStore()->read(), {Here.storeId, Here.record, {"server", "second"}});

        QCOMPARE(opened.outcome, Unsealed::Outcome::Read);
        QCOMPARE(opened.version, version);
        QCOMPARE(opened.secret.toString(), u"p\u00E4ssw\u00F6rd \U0001F511"_s);
    }

    void boundSecretIsReadWhereItBelongs()
    {
        const QVariant value = Encrypt(Secret, Here);

        QCOMPARE(Decrypt(value, Here), Secret);
    }

    // An entry point that is given only the value cannot know more.
    void withoutAContextABoundSecretIsRead() { QCOMPARE(Decrypt(Encrypt(Secret, Here)), Secret); }

    void secretOfAnUnknownStoreIsNotBound()
    {
        const QByteArray value = Encrypt(Secret, {{}, "record", {"server"}}).toByteArray();

        QCOMPARE(unseal(value, {}).version, 1);
        QCOMPARE(Decrypt(value, Here), Secret);
    }

    void boundSecretIsNotReadElsewhere_data()
    {
        using Outcome = Unsealed::Outcome;
        QTest::addColumn<QString>("store");
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<QByteArrayList>("servers");
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<QString>("cause");
        const QByteArrayList servers = Here.servers;

        QTest::newRow("another store") << u"there"_s << Here.record << servers
                                       << Outcome::OtherStore << u"copied from another store"_s;
        QTest::newRow("another record") << Here.storeId << QByteArray("other") << servers
                                        << Outcome::OtherRecord << u"for another record"_s;
        QTest::newRow("another server") << Here.storeId << Here.record << QByteArrayList{"evil"}
                                        << Outcome::OtherServer << u"address of its server"_s;
        QTest::newRow("one more server")
            << Here.storeId << Here.record << servers + QByteArrayList{"evil"}
            << Outcome::OtherServer << u"address of its server"_s;
        // No text stands for another part.
        QTest::newRow("parts exchanged")
            << Here.storeId << Here.servers[0] << QByteArrayList{Here.record}
            << Outcome::OtherRecord << u"for another record"_s;
    }

    void boundSecretIsNotReadElsewhere()
    {
        QFETCH(QString, store);
        QFETCH(QByteArray, record);
        QFETCH(QByteArrayList, servers);
        QFETCH(Unsealed::Outcome, outcome);
        QFETCH(QString, cause);
        const QByteArray value = Encrypt(Secret, Here).toByteArray();
        CapturedWarnings warnings;

        const QString read = Decrypt(value, {store, record, servers});

        QVERIFY(read.isNull());
        QCOMPARE(warnings.texts().size(), 1);
        QVERIFY(warnings.texts().constFirst().contains(cause));
        const Unsealed opened = unseal(value, keyStore()->read(), {store, record, servers});
        QCOMPARE(opened.outcome, outcome);
        QVERIFY(opened.secret.isNull());
    }

    void secretForSeveralServersIsReadAtEachOfThem()
    {
        const QVariant value =
            Encrypt(Secret, {Here.storeId, Here.record, {"first", "second", "third"}});

        for (const char* server : {"first", "second", "third"})
            QCOMPARE(Decrypt(value, {Here.storeId, Here.record, {server}}), Secret);
        CapturedWarnings warnings;
        QVERIFY(Decrypt(value, {Here.storeId, Here.record, {"fourth"}}).isNull());
    }

    void anyChangeOfABoundValueIsDamage()
    {
        const QByteArray value = Encrypt(Secret, Here).toByteArray();
        const KeyRing ring = keyStore()->read();

        for (qsizetype at = 0; at < value.size(); ++at) {
            for (int bit = 0; bit < 8; ++bit) {
                QByteArray changed = value;
                changed[at] = static_cast<char>(changed[at] ^ (1 << bit));
                QCOMPARE(unseal(changed, ring).outcome, Unsealed::Outcome::Damaged);
            }
        }
        for (qsizetype size = 0; size < value.size(); ++size)
            QCOMPARE(unseal(value.left(size), ring).outcome, Unsealed::Outcome::Damaged);
    }

    // Both ways to give a value another binding need the key.
    void bindingCannotBeTakenFromAnotherValue()
    {
        const QByteArray mine = Encrypt(Secret, Here).toByteArray();
        const QByteArray other =
            Encrypt(u"mine"_s, {Here.storeId, "other", Here.servers}).toByteArray();
        constexpr qsizetype Header = 22;
        constexpr qsizetype Binding = 2 + 3 * 16;

        const QByteArray forged =
            mine.left(Header) + other.mid(Header, Binding) + mine.mid(Header + Binding);

        QCOMPARE(unseal(forged, keyStore()->read()).outcome, Unsealed::Outcome::Damaged);
    }

    void secretFromBeforeANoteIsOutdated()
    {
        const KeyRing keys = HostKeyStore(OtherKeyBytes, {KeyBytes}).read();
        const QByteArray unbound = encrypted(Secret);
        const QByteArray earlier = Encrypt(Secret, Here).toByteArray();
        const QByteArray current = seal(Secret, keys.current(), KeyBackend::Host, Here);

        const KeyRing noted = keys.withStore(Here.storeId, keys.current().id());

        using Outcome = Unsealed::Outcome;
        QCOMPARE(unseal(unbound, keys, Here).outcome, Outcome::Read);
        QCOMPARE(unseal(earlier, keys, Here).outcome, Outcome::Read);
        QCOMPARE(unseal(unbound, noted, Here).outcome, Outcome::Outdated);
        QCOMPARE(unseal(earlier, noted, Here).outcome, Outcome::Outdated);
        QCOMPARE(unseal(current, noted, Here).outcome, Outcome::Read);
        QCOMPARE(unseal(unbound, noted).outcome, Outcome::Read);
    }

    void warningsDoNotHoldTheSecret()
    {
        QByteArray damaged = encrypted(Secret);
        damaged.back() = static_cast<char>(damaged.back() ^ 1);
        const QVariant value = Encrypt(Secret);
        CapturedWarnings warnings;

        Decrypt(damaged);
        Decrypt(Secret);
        setKeyStore(std::make_shared<HostKeyStore>(OtherKeyBytes));
        Decrypt(value);

        QCOMPARE(warnings.texts().size(), 3);
        QVERIFY(!warnings.texts().join(u'\n').contains(Secret));
    }

    void unsealSaysWithoutAKeyWhichOneIsNeeded()
    {
        const Unsealed found = unseal(encrypted(Secret), {});

        QCOMPARE(found.outcome, Unsealed::Outcome::OtherKey);
        QCOMPARE(found.backend, KeyBackend::Host);
        QCOMPARE(QString::fromLatin1(found.keyId.toHex()), hexIdOf(KeyBytes));
        QVERIFY(found.secret.isNull());
    }

    void unsealReadsWithAnyKeyOfTheRing()
    {
        const KeyRing ring = HostKeyStore(OtherKeyBytes).read();
        const QByteArray value = seal(Secret, ring.current(), KeyBackend::File);

        const Unsealed found = unseal(value, ring.withNewKey());

        QCOMPARE(found.outcome, Unsealed::Outcome::Read);
        QCOMPARE(found.backend, KeyBackend::File);
        QCOMPARE(found.secret.toString(), Secret);
    }

    void sealingLeavesTheTextAsItIs()
    {
        const QString null;

        seal(null, HostKeyStore(KeyBytes).read().current(), KeyBackend::File);

        QVERIFY(null.isNull());
    }

    void encryptingWithoutAKeyThrows()
    {
        setKeyStore(std::make_shared<BrokenKeyStore>(KeyError::Cause::Locked));

        try {
            Encrypt(Secret);
            QFAIL("nothing was thrown");
        } catch (const KeyError& error) {
            QCOMPARE(error.cause(), KeyError::Cause::Locked);
            QCOMPARE(error.text(), u"The keychain is locked. Unlock it."_s);
        }
    }

    void encryptingAfterAValueOfAnotherBackendIsRefused()
    {
        const QVariant value = Encrypt(Secret);
        setKeyStore(std::make_shared<EmptyKeyStore>());
        CapturedWarnings warnings;
        Decrypt(value);

        try {
            Encrypt(Secret);
            QFAIL("nothing was thrown");
        } catch (const KeyError& error) {
            QCOMPARE(error.cause(), KeyError::Cause::OtherBackend);
            QCOMPARE(
                error.text(),
                u"The password is not stored: the keys come from the key file, but stored "
                "passwords use keys of the host program. Use the host program again, or move the "
                "passwords."_s);
        }
    }

    void encryptingAfterAValueOfAnotherBackendCanBeAccepted()
    {
        const QVariant value = Encrypt(Secret);
        setKeyStore(std::make_shared<EmptyKeyStore>(), OtherBackend::Accept);
        CapturedWarnings warnings;
        Decrypt(value);

        const QVariant stored = Encrypt(Secret);

        QVERIFY(stored.isValid());
    }

    void damagedValueDoesNotStopEncrypting()
    {
        QByteArray damaged = encrypted(Secret);
        damaged[1] = char(KeyBackend::Keychain);
        CapturedWarnings warnings;
        Decrypt(damaged);

        const QVariant stored = Encrypt(Secret);

        QCOMPARE(Decrypt(stored), Secret);
    }

    void defaultStoreIsTheKeyFileInTheUsersState()
    {
        setKeyStore(nullptr);

        const QVariant stored = Encrypt(Secret);

        QCOMPARE(keyStore()->backend(), KeyBackend::File);
        QVERIFY(QFile::exists(qEnvironmentVariable("XDG_STATE_HOME") + u"/velmio/password.key"_s));
        QCOMPARE(Decrypt(stored), Secret);
    }
};

QTEST_APPLESS_MAIN(TestCrypto)
#include "TestCrypto.moc"
