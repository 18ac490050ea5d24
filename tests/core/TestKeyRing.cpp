#include <core/KeyError.h>
#include <core/KeyRing.h>

#include <QSet>
#include <QTest>
#include <QtEndian>

#include <algorithm>
#include <string_view>
#include <vector>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;

namespace {

std::shared_ptr<const Key> keyOf(char character)
{
    const std::vector<unsigned char> bytes(Key::Size, static_cast<unsigned char>(character));
    return std::make_shared<const Key>(SecureBytes::copyOf(bytes));
}

const QDateTime Now = QDateTime::currentDateTimeUtc();

} // namespace

class TestKeyRing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void equalKeysHaveEqualIds()
    {
        QCOMPARE(keyOf('a')->id(), keyOf('a')->id());
        QVERIFY(keyOf('a')->id() != keyOf('b')->id());
        QCOMPARE(keyOf('a')->id().size(), 16);
    }

    void idsNeitherHoldNorRepeatTheKey()
    {
        const auto key = keyOf('a');

        QVERIFY(!key->id().contains("aa"));
    }

    void newKeysDiffer()
    {
        QSet<KeyId> ids;

        for (int i = 0; i < 100; ++i)
            ids.insert(KeyRing().withNewKey().current().id());

        QCOMPARE(ids.size(), 100);
    }

    void newKeyRetiresTheCurrentOne()
    {
        const KeyRing ring = KeyRing().withCurrent(keyOf('a'));

        const KeyRing changed = ring.withCurrent(keyOf('b'));

        QCOMPARE(changed.ids(), QList<KeyId>({keyOf('b')->id(), keyOf('a')->id()}));
        QCOMPARE(changed.retiredUntil(Now.addDays(1)), QSet<KeyId>({keyOf('a')->id()}));
        QCOMPARE(ring.ids(), QList<KeyId>({keyOf('a')->id()}));
    }

    void makingTheCurrentKeyCurrentChangesNothing()
    {
        const KeyRing ring = KeyRing().withCurrent(keyOf('a')).withCurrent(keyOf('b'));

        const KeyRing same = ring.withCurrent(keyOf('b'));

        QCOMPARE(same.ids(), ring.ids());
        QCOMPARE(same.retiredUntil(Now.addDays(1)), QSet<KeyId>({keyOf('a')->id()}));
    }

    void currentKeyIsNeverRemoved()
    {
        const KeyRing ring = KeyRing().withCurrent(keyOf('a')).withCurrent(keyOf('b'));

        const KeyRing less = ring.without({keyOf('a')->id(), keyOf('b')->id()});

        QCOMPARE(less.ids(), QList<KeyId>({keyOf('b')->id()}));
    }

    void onlyKeysRetiredInTimeAreListed()
    {
        const KeyRing ring = KeyRing().withCurrent(keyOf('a')).withCurrent(keyOf('b'));

        QCOMPARE(ring.retiredUntil(Now.addSecs(-60)), QSet<KeyId>());
        QCOMPARE(ring.retiredUntil(Now.addSecs(60)), QSet<KeyId>({keyOf('a')->id()}));
    }

    void bytesGiveTheSameRing()
    {
        const KeyRing ring =
            KeyRing().withCurrent(keyOf('a')).withCurrent(keyOf('b')).withCurrent(keyOf('c'));

        const auto read = KeyRing::fromBytes(ring.toBytes());

        QVERIFY(read);
        QCOMPARE(read->ids(), ring.ids());
        QCOMPARE(read->retiredUntil(Now.addDays(1)), ring.retiredUntil(Now.addDays(1)));
        const SecureBytes& bytes = read->find(keyOf('a')->id())->bytes();
        QVERIFY(std::all_of(bytes.data(), bytes.data() + bytes.size(), [](unsigned char byte) {
            return byte == 'a';
        }));
    }

    // A ring of the layout in KeyRing.cpp, made once by another program with libsodium.
    void frozenRingIsReadAndWritten()
    {
        const QByteArray frozen =
            QByteArray::fromHex("76656c6d696f2d6b657973010300000000000000006262626262626262626262"
                                "6262626262626262626262626262626262626262620068e5cf8b010000616161"
                                "6161616161616161616161616161616161616161616161616161616161ffdb1f"
                                "d277e60000abcb3b6060897987f4a7f80c1303f85808a765a965683fa04dea3c"
                                "86548733ffa958412534fdc2f6c0c8ad8b2ac7a9e0");

        const std::vector<unsigned char> bytes(frozen.begin(), frozen.end());

        const auto read = KeyRing::fromBytes(SecureBytes::copyOf(bytes));

        QVERIFY(read);
        QCOMPARE(read->ids(), QList<KeyId>({keyOf('b')->id(), keyOf('a')->id()}));
        QCOMPARE(keyOf('a')->id().toHex(), "17d565dd4a48720ad54fe4dcb7d48436");
        const QDateTime retired = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
        QCOMPARE(read->retiredUntil(retired), QSet<KeyId>{keyOf('a')->id()});
        QCOMPARE(read->retiredUntil(retired.addMSecs(-1)), QSet<KeyId>());
        QCOMPARE(read->oldestOf(u"store"_s), keyOf('b')->id());
        const SecureBytes written = read->toBytes();
        QVERIFY(std::equal(
            bytes.begin(), bytes.end(), written.data(), written.data() + written.size()));
    }

    void emptyRingIsNoValidForm()
    {
        QVERIFY(!KeyRing::fromBytes(KeyRing().toBytes()));
        QVERIFY(!KeyRing::fromBytes(SecureBytes(0)));
    }

    void noteAboutAStoreSurvivesBytesAndLaterKeys()
    {
        const KeyRing ring = KeyRing()
                                 .withCurrent(keyOf('a'))
                                 .withCurrent(keyOf('b'))
                                 .withStore(u"store"_s, keyOf('b')->id())
                                 .withCurrent(keyOf('c'));

        const KeyRing read = *KeyRing::fromBytes(ring.toBytes());

        QVERIFY(read == ring);
        QCOMPARE(read.ids(), ring.ids());
        QCOMPARE(read.oldestOf(u"store"_s), keyOf('b')->id());
        QCOMPARE(read.oldestOf(u"other"_s), KeyId());
        QCOMPARE(read.outdatedFor(u"store"_s), QSet<KeyId>{keyOf('a')->id()});
        QCOMPARE(read.outdatedFor(u"other"_s), QSet<KeyId>());
        QCOMPARE(
            read.neededByStoresOtherThan(u"other"_s),
            QSet<KeyId>({keyOf('b')->id(), keyOf('c')->id()}));
        QCOMPARE(read.neededByStoresOtherThan(u"store"_s), QSet<KeyId>());
        QCOMPARE(read.without({keyOf('a')->id()}).oldestOf(u"store"_s), keyOf('b')->id());
        QCOMPARE(read.withoutStore(u"store"_s).oldestOf(u"store"_s), KeyId());
    }

    void laterNoteReplacesTheEarlierOne()
    {
        const KeyRing ring = KeyRing()
                                 .withCurrent(keyOf('a'))
                                 .withStore(u"store"_s, keyOf('a')->id())
                                 .withCurrent(keyOf('b'))
                                 .withStore(u"store"_s, keyOf('b')->id());

        QCOMPARE(ring.oldestOf(u"store"_s), keyOf('b')->id());
        QCOMPARE(
            ring.toBytes().size(), KeyRing()
                                       .withCurrent(keyOf('a'))
                                       .withCurrent(keyOf('b'))
                                       .withCurrent(keyOf('c'))
                                       .toBytes()
                                       .size());
    }

    // Programs of earlier versions take it for a key, and remove only keys that are retired.
    void noteLooksLikeAKeyThatIsNeverRetired()
    {
        const KeyRing ring =
            KeyRing().withCurrent(keyOf('a')).withStore(u"store"_s, keyOf('a')->id());

        const SecureBytes bytes = ring.toBytes();

        const std::size_t header = std::string_view("velmio-keys").size() + 2;
        constexpr std::size_t EntrySize = sizeof(qint64) + Key::Size;
        const auto time = qFromLittleEndian<qint64>(bytes.data() + header + EntrySize);
        QCOMPARE(bytes.data()[header - 1], 2);
        QCOMPARE(QDateTime::fromMSecsSinceEpoch(time, Qt::UTC).date().year(), 9999);
    }

    void ringWithoutAKeyIsRefused()
    {
        const KeyRing ring = KeyRing().withStore(u"store"_s, keyOf('a')->id());

        QVERIFY(!KeyRing::fromBytes(ring.toBytes()));
    }

    void noteNeedsRoom()
    {
        KeyRing ring;
        for (int i = 0; i < 254; ++i)
            ring = ring.withNewKey();

        ring = ring.withStore(u"store"_s, ring.current().id());

        QCOMPARE(ring.toBytes().size(), KeyRing::maximumBytes());
        QVERIFY_THROWS_EXCEPTION(KeyError, ring.withNewKey());
        QVERIFY_THROWS_EXCEPTION(KeyError, ring.withStore(u"other"_s, ring.current().id()));
        QVERIFY(ring.withStore(u"store"_s, ring.ids().last()) != ring);
    }

    void keysOfAnotherRingAreOlderThanItsOwn()
    {
        const KeyRing ring = KeyRing()
                                 .withCurrent(keyOf('a'))
                                 .withStore(u"store"_s, keyOf('a')->id())
                                 .withCurrent(keyOf('b'));
        const KeyRing other = KeyRing().withCurrent(keyOf('c'));
        // It is replaced later than the first one.
        while (ring.retiredUntil(QDateTime::currentDateTimeUtc().addMSecs(-1)).isEmpty())
            continue;

        const KeyRing both = ring.withEarlier(other);

        QCOMPARE(both.ids(), QList<KeyId>({keyOf('b')->id(), keyOf('a')->id(), keyOf('c')->id()}));
        QCOMPARE(both.outdatedFor(u"store"_s), QSet<KeyId>{keyOf('c')->id()});
        QCOMPARE(KeyRing().withEarlier(other).ids(), other.ids());
    }

    void ringTakesAtMost255Keys()
    {
        KeyRing ring;
        for (int i = 0; i < 255; ++i)
            ring = ring.withNewKey();

        QCOMPARE(KeyRing::fromBytes(ring.toBytes())->ids(), ring.ids());
        QCOMPARE(ring.toBytes().size(), KeyRing::maximumBytes());
        QVERIFY_THROWS_EXCEPTION(KeyError, ring.withNewKey());
    }

    void movedBytesHaveOneOwner()
    {
        SecureBytes first = SecureBytes::random(8);
        const unsigned char* const place = first.data();

        SecureBytes second = std::move(first);
        first = SecureBytes::random(4);

        QCOMPARE(second.data(), place);
        QCOMPARE(second.size(), std::size_t(8));
        QCOMPARE(first.size(), std::size_t(4));
    }
};

QTEST_APPLESS_MAIN(TestKeyRing)
#include "TestKeyRing.moc"
