#include <core/KeyError.h>
#include <core/KeyRing.h>

#include <QSet>
#include <QTest>

#include <algorithm>
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

    void emptyRingIsNoValidForm()
    {
        QVERIFY(!KeyRing::fromBytes(KeyRing().toBytes()));
        QVERIFY(!KeyRing::fromBytes(SecureBytes(0)));
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
