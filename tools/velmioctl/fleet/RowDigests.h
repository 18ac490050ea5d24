#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>

namespace velmioctl::fleet {

/// The digests of the rows of a block, by which a push finds what differs without reading the rows
/// of the server. A block is a run of ids; the server stores the bytes beside the rows.
class RowDigests
{
public:
    static constexpr qint64 BlockIds = 128;

    static qint64 blockOf(qint64 id) { return id / BlockIds; }

    RowDigests() = default;
    explicit RowDigests(const QByteArray& stored)
        : stored(stored)
    {
    }

    /// Adds the row with the next id of the block.
    void add(qint64 id, const QByteArray& line);

    const QByteArray& bytes() const { return stored; }

    /// place in the block -> digest
    QHash<qint64, QByteArray> byPlace() const;

private:
    QByteArray stored; // for each row its place in the block, in one byte, and its digest
};

} // namespace velmioctl::fleet
