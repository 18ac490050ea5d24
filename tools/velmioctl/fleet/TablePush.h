#pragma once

#include <velmioctl/exchange/RowSource.h>
#include <velmioctl/fleet/RowDigests.h>
#include <velmioctl/fleet/SentRows.h>
#include <velmioctl/store/FleetConnection.h>

#include <QHash>
#include <QMap>

#include <vector>

namespace velmioctl::fleet {

/// What a push has done.
struct PushCounts
{
    qint64 sent = 0;    ///< Rows that the server did not have like this.
    qint64 removed = 0; ///< Rows of the server that the store no longer has.
    qint64 same = 0;
    qint64 skipped = 0; ///< Rows with an id that no client uses.
};

/// Makes the rows of one table in the fleet those of a store, and sends only what differs.
///
/// Blocks that the server does not have go straight into a COPY. Of those that differ the digests
/// of the rows are compared, some blocks at a time, because nothing can be asked during a COPY.
class TablePush
{
public:
    TablePush(
        Connection& connection, const QByteArray& store, const TableShape& table, SentRows& rows,
        PushCounts& counts);

    void add(const exchange::Row& row);
    void finish();

private:
    struct Block
    {
        qint64 number = -1;
        RowDigests digests = {};
        std::vector<std::pair<qint64, QByteArray>> lines = {}; ///< id -> line of COPY
    };

    void endBlock();
    void sendChanged();
    void compare(const Block& block, const RowDigests& stored);
    void removeGone();
    void storeDigests();
    void sendLines();
    void send(const QByteArray& line);
    void endCopy();

    Connection& connection;
    const QByteArray store;
    const QByteArray storeField; // what each line begins with
    const TableShape& table;
    SentRows& rows;
    PushCounts& counts;
    QByteArray unsent;                      // lines
    QHash<qint64, QByteArray> storedBlocks; // block -> hash; what the store still has is taken out
    Block current;
    std::vector<Block> changed;
    QList<qint64> gone;                  // ids of rows to remove
    QList<QByteArray> toSend;            // after them
    QMap<qint64, QByteArray> newDigests; // block -> digests to store
    bool copying = false;
};

} // namespace velmioctl::fleet
