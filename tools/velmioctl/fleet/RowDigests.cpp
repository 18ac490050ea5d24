#include <velmioctl/fleet/RowDigests.h>

#include <sodium.h>

namespace velmioctl::fleet {

namespace {

constexpr qsizetype DigestBytes = crypto_shorthash_BYTES;
constexpr qsizetype EntryBytes = 1 + DigestBytes;

// A fixed key: the digests protect nothing, and must be the same on each run.
constexpr unsigned char Key[crypto_shorthash_KEYBYTES] = {'v', 'e', 'l', 'm', 'i', 'o', ' ', 'r',
                                                          'o', 'w', ' ', 'd', 'i', 'g', 's', 't'};

} // namespace

void RowDigests::add(qint64 id, const QByteArray& line)
{
    unsigned char digest[DigestBytes];
    crypto_shorthash(
        digest, reinterpret_cast<const unsigned char*>(line.constData()),
        static_cast<unsigned long long>(line.size()), Key);
    stored += static_cast<char>(id % BlockIds);
    stored.append(reinterpret_cast<const char*>(digest), DigestBytes);
}

QHash<qint64, QByteArray> RowDigests::byPlace() const
{
    QHash<qint64, QByteArray> digests;
    for (qsizetype at = 0; at + EntryBytes <= stored.size(); at += EntryBytes)
        digests.insert(stored[at], stored.mid(at + 1, DigestBytes));
    return digests;
}

} // namespace velmioctl::fleet
