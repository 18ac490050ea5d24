#include <database/opening/WalDamage.h>

#include <QByteArray>
#include <QFile>
#include <QtEndian>

#include <bit>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

// sqlite.org/fileformat2.html#the_write_ahead_log
constexpr qsizetype WalHeaderBytes = 32;
constexpr qsizetype FrameHeaderBytes = 24;
constexpr qsizetype WalPageBytesOffset = 8;
constexpr qsizetype SaltBytes = 8;
constexpr qsizetype HeaderSaltOffset = 16;
constexpr qsizetype FrameSaltOffset = 8;
constexpr qsizetype SizeAfterCommitOffset = 4;
constexpr quint32 Magic = 0x377f0682; // plus 1 if the checksums are big-endian

quint32 numberAt(QByteArrayView bytes, qsizetype offset)
{
    return qFromBigEndian<quint32>(bytes.data() + offset);
}

struct Checksum
{
    quint32 first = 0;
    quint32 second = 0;

    bool operator==(const Checksum&) const = default;
};

Checksum checksumAt(QByteArrayView bytes, qsizetype offset)
{
    return {numberAt(bytes, offset), numberAt(bytes, offset + 4)};
}

/// Reads the frames of a WAL one after the other.
class Frames
{
public:
    explicit Frames(const QString& path)
        : file(path)
    {
        if (file.open(QIODevice::ReadOnly))
            readHeader();
    }

    bool next();

    bool headerIsSound() const { return soundHeader; }

    /// True if the frame was written to this WAL after the one before it.
    bool followsPrevious() const { return linked; }

    /// True if the frame, damaged or not, ends a transaction of this WAL.
    bool isCommit() const { return hasSalt && numberAt(frame, SizeAfterCommitOffset) != 0; }

private:
    void readHeader();
    Checksum continued(Checksum sum, QByteArrayView bytes) const;

    QFile file;
    QByteArray frame;
    QByteArray salt;
    Checksum previous;
    qsizetype pageBytes = 4096; // as in our files
    bool bigEndian = false;
    bool soundHeader = false;
    bool hasSalt = false;
    bool linked = false;
};

void Frames::readHeader()
{
    const QByteArray header = file.read(WalHeaderBytes);
    if (header.size() < WalHeaderBytes)
        return;
    bigEndian = numberAt(header, 0) == Magic + 1;
    previous = checksumAt(header, WalHeaderBytes - SaltBytes);
    const quint32 size = numberAt(header, WalPageBytesOffset);
    soundHeader =
        (bigEndian || numberAt(header, 0) == Magic) && std::has_single_bit(size) && size >= 512 &&
        size <= 65536 &&
        continued({}, QByteArrayView(header).first(WalHeaderBytes - SaltBytes)) == previous;
    if (!soundHeader)
        return;
    pageBytes = size;
    salt = header.sliced(HeaderSaltOffset, SaltBytes);
}

bool Frames::next()
{
    if (!file.isOpen())
        return false;
    frame = file.read(FrameHeaderBytes + pageBytes);
    if (frame.size() < FrameHeaderBytes + pageBytes)
        return false;
    // If the header is damaged, the first frame says which frames belong together.
    const QByteArray ownSalt = frame.sliced(FrameSaltOffset, SaltBytes);
    if (salt.isEmpty())
        salt = ownSalt;
    hasSalt = ownSalt == salt;
    const QByteArrayView bytes(frame);
    const Checksum sum = continued(
        continued(previous, bytes.first(FrameSaltOffset)), bytes.sliced(FrameHeaderBytes));
    previous = checksumAt(frame, FrameHeaderBytes - SaltBytes);
    linked = hasSalt && sum == previous;
    return true;
}

Checksum Frames::continued(Checksum sum, QByteArrayView bytes) const
{
    for (qsizetype offset = 0; offset < bytes.size(); offset += 8) {
        const char* const at = bytes.data() + offset;
        sum.first +=
            sum.second + (bigEndian ? qFromBigEndian<quint32>(at) : qFromLittleEndian<quint32>(at));
        sum.second += sum.first + (bigEndian ? qFromBigEndian<quint32>(at + 4)
                                             : qFromLittleEndian<quint32>(at + 4));
    }
    return sum;
}

} // namespace

qint64 lostCommitsIn(const QString& databasePath)
{
    Frames frames(databasePath + u"-wal"_s);
    bool isBroken = !frames.headerIsSound();
    bool followsCommit = false;
    qint64 lost = 0;
    while (frames.next()) {
        // A transaction begins only after the one before it has been synced.
        if (isBroken && followsCommit && frames.followsPrevious())
            ++lost;
        isBroken = isBroken || !frames.followsPrevious();
        followsCommit = frames.isCommit();
    }
    return lost;
}

} // namespace sync::database
