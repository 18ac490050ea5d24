#include "DiskRecorder.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <utility>

namespace sync::test {

namespace {

constexpr qsizetype SectorBytes = 512;

using Changes = QList<DiskEvent>; // Writes and Truncates

void apply(QByteArray& content, const DiskEvent& change)
{
    if (change.kind == DiskEvent::Truncate) {
        content.resize(std::min(content.size(), qsizetype(change.offset)));
        return;
    }
    const qsizetype end = change.offset + change.bytes.size();
    if (content.size() < end)
        content.append(end - content.size(), '\0');
    std::copy(change.bytes.begin(), change.bytes.end(), content.begin() + change.offset);
}

/// The content of a file that is certainly on disk, and the later changes that may be.
struct Content
{
    QByteArray synced;
    Changes unsynced = {};

    void sync()
    {
        for (const DiskEvent& change : unsynced)
            apply(synced, change);
        unsynced.clear();
    }
};

/// The file that a name refers to: as processes see it, and in the last synced state of the folder.
struct Name
{
    std::optional<Content> current;
    std::optional<Content> onDisk; // valid unless `folderSynced`
    bool folderSynced = true;      // the synced folder contains `current`
    bool syncsFolder = false;      // the next sync of the file also syncs its folder (os_unix.c)
};

class Disk
{
public:
    explicit Disk(const DatabaseFiles& start)
    {
        // The library has created and synced the database file.
        names[DiskEvent::Database].current = Content{start.database};
        if (!start.wal.isEmpty())
            names[DiskEvent::Wal].current = Content{start.wal};
        if (!start.journal.isEmpty())
            names[DiskEvent::Journal].current = Content{start.journal};
    }

    void happened(const DiskEvent& event)
    {
        Name& name = names[event.file];
        switch (event.kind) {
        case DiskEvent::Open:
            open(name);
            name.syncsFolder = event.file != DiskEvent::Database;
            return;
        case DiskEvent::Write:
        case DiskEvent::Truncate:
            name.current->unsynced.append(event);
            return;
        case DiskEvent::Sync:
            name.current->sync();
            if (std::exchange(name.syncsFolder, false))
                syncFolder();
            return;
        case DiskEvent::Delete:
            leave(name);
            name.current.reset();
            if (event.synced)
                syncFolder();
            return;
        }
    }

    std::array<Name, 3> names;

private:
    static void leave(Name& name)
    {
        if (std::exchange(name.folderSynced, false))
            name.onDisk = std::move(name.current);
    }

    static void open(Name& name)
    {
        if (name.current)
            return;
        leave(name);
        name.current = Content{};
    }

    void syncFolder()
    {
        for (Name& name : names)
            name.folderSynced = true;
    }
};

Disk diskAfter(const DatabaseFiles& start, const QList<DiskEvent>& events, qsizetype count)
{
    Disk disk(start);
    std::for_each_n(events.begin(), count, [&](const DiskEvent& event) { disk.happened(event); });
    return disk;
}

/// Decides which unsynced changes survive.
class PowerCut
{
public:
    explicit PowerCut(QRandomGenerator& chance)
        : chance(chance)
        , survivors(static_cast<Survivors>(chance.bounded(LastSurvivors + 1)))
    {
    }

    QByteArray contentOf(const Name& name)
    {
        const bool folderIsOld = !name.folderSynced && chance.bounded(2) == 0;
        const std::optional<Content>& content = folderIsOld ? name.onDisk : name.current;
        return content ? survivingContent(*content) : QByteArray();
    }

private:
    enum Survivors { Nothing, Everything, Writes, Sectors, Beginning, LastSurvivors = Beginning };

    QByteArray survivingContent(const Content& content)
    {
        Changes changes = surviving(content.unsynced);
        if (chance.bounded(2) == 0)
            shuffle(changes);
        QByteArray bytes = content.synced;
        const qsizetype grownSize = sizeAfter(content);
        if (survivors != Nothing && survivors != Everything && bytes.size() < grownSize &&
            chance.bounded(2) == 0)
            appendRandomBytes(bytes, grownSize - bytes.size());
        for (const DiskEvent& change : changes)
            apply(bytes, change);
        return bytes;
    }

    Changes surviving(const Changes& changes)
    {
        Changes kept;
        const qsizetype beginning = chance.bounded(int(changes.size()) + 1);
        for (qsizetype index = 0; index < changes.size(); ++index) {
            const bool sectorsOnly =
                survivors == Sectors || (survivors == Beginning && index + 1 == beginning);
            const bool whole = survivors == Everything ||
                               (survivors == Writes && chance.bounded(2) == 0) ||
                               (survivors == Beginning && index + 1 < beginning);
            if (whole)
                kept.append(changes[index]);
            else if (sectorsOnly)
                keepSomeSectors(kept, changes[index]);
        }
        return kept;
    }

    void keepSomeSectors(Changes& kept, const DiskEvent& change)
    {
        if (change.kind == DiskEvent::Truncate)
            return;
        qsizetype begin = 0;
        while (begin < change.bytes.size()) {
            const qsizetype inSector = SectorBytes - (change.offset + begin) % SectorBytes;
            const qsizetype size = std::min(inSector, change.bytes.size() - begin);
            if (chance.bounded(2) == 0) {
                DiskEvent sector = change;
                sector.bytes = change.bytes.mid(begin, size);
                sector.offset += begin;
                kept.append(sector);
            }
            begin += size;
        }
    }

    void shuffle(Changes& changes)
    {
        for (qsizetype last = changes.size(); last > 1; --last)
            std::swap(changes[last - 1], changes[chance.bounded(int(last))]);
    }

    static qsizetype sizeAfter(const Content& content)
    {
        qsizetype size = content.synced.size();
        for (const DiskEvent& change : content.unsynced) {
            size = change.kind == DiskEvent::Truncate
                       ? std::min(size, qsizetype(change.offset))
                       : std::max(size, qsizetype(change.offset) + change.bytes.size());
        }
        return size;
    }

    void appendRandomBytes(QByteArray& bytes, qsizetype count)
    {
        for (qsizetype index = 0; index < count; ++index)
            bytes.append(static_cast<char>(chance.bounded(256)));
    }

    QRandomGenerator& chance;
    const Survivors survivors;
};

QByteArray currentContent(const Name& name)
{
    if (!name.current)
        return {};
    Content content = *name.current;
    content.sync();
    return content.synced;
}

} // namespace

DiskRecorder::DiskRecorder(const QString& path)
    : path(QFile::encodeName(path))
{
}

void DiskRecorder::after(const IoCall& call)
{
    static const QByteArray Suffixes[] = {"", "-wal", "-journal"}; // by DiskEvent::File
    const auto* const suffix = std::find_if(
        std::begin(Suffixes), std::end(Suffixes),
        [&](const QByteArray& candidate) { return call.path == path + candidate; });
    if (suffix == std::end(Suffixes))
        return;
    const auto file = static_cast<DiskEvent::File>(suffix - std::begin(Suffixes));
    switch (call.kind) {
    case IoCall::Open:
        if (call.flag)
            recorded.append({DiskEvent::Open, file, {}});
        return;
    case IoCall::Write:
        recorded.append({DiskEvent::Write, file, call.bytes.toByteArray(), call.offset});
        return;
    case IoCall::Truncate:
        recorded.append({DiskEvent::Truncate, file, {}, call.offset});
        return;
    case IoCall::Sync:
        recorded.append({DiskEvent::Sync, file, {}});
        return;
    case IoCall::Delete:
        recorded.append({DiskEvent::Delete, file, {}, 0, call.flag});
        return;
    default:
        return;
    }
}

DatabaseFiles diskAfterCut(
    const DatabaseFiles& start, const QList<DiskEvent>& events, qsizetype count,
    QRandomGenerator& chance)
{
    const Disk disk = diskAfter(start, events, count);
    PowerCut cut(chance);
    return {
        cut.contentOf(disk.names[DiskEvent::Database]), cut.contentOf(disk.names[DiskEvent::Wal]),
        cut.contentOf(disk.names[DiskEvent::Journal])};
}

DatabaseFiles diskAfterKill(
    const DatabaseFiles& start, const QList<DiskEvent>& events, qsizetype count)
{
    const Disk disk = diskAfter(start, events, count);
    return {
        currentContent(disk.names[DiskEvent::Database]), currentContent(disk.names[DiskEvent::Wal]),
        currentContent(disk.names[DiskEvent::Journal])};
}

} // namespace sync::test
