#include "FuzzStore.h"

#include <database/DatabaseError.h>
#include <database/StoreInspection.h>

#include <QLoggingCategory>
#include <QMap>
#include <QtEndian>

#include <fuzzer/FuzzedDataProvider.h>

using namespace Qt::StringLiterals;
using namespace sync::database;
using namespace sync::test;

namespace {

constexpr quint32 PageBytes = 512;
constexpr quint32 Salt = 0x5A17;

QByteArray bigEndian(std::initializer_list<quint32> numbers)
{
    QByteArray bytes;
    for (const quint32 number : numbers) {
        const quint32 ordered = qToBigEndian(number);
        bytes.append(reinterpret_cast<const char*>(&ordered), sizeof(ordered));
    }
    return bytes;
}

// A page of the store, in which the input changes a few bytes.
QByteArray changedPage(quint32 page, FuzzedDataProvider& input)
{
    QByteArray bytes = fuzzImage().mid(qsizetype(page - 1) * PageBytes, PageBytes);
    bytes.resize(PageBytes, '\0');
    for (int count = input.ConsumeIntegralInRange(0, 8); count > 0; --count) {
        const auto at = input.ConsumeIntegralInRange<qsizetype>(0, PageBytes - 1);
        bytes[at] = input.ConsumeIntegral<char>();
    }
    return bytes;
}

quint32 anyPage(FuzzedDataProvider& input)
{
    return input.ConsumeIntegralInRange<quint32>(
        1, static_cast<quint32>(fuzzImage().size()) / PageBytes + 1);
}

/// The running checksum of a WAL (sqlite.org/fileformat2.html#walformat).
struct WalChecksum
{
    void add(const QByteArray& bytes)
    {
        for (qsizetype at = 0; at < bytes.size(); at += 8) {
            first += qFromBigEndian<quint32>(bytes.constData() + at) + second;
            second += qFromBigEndian<quint32>(bytes.constData() + at + 4) + first;
        }
    }

    quint32 first = 0;
    quint32 second = 0;
};

// What another user could plant: changed pages behind right checksums.
QByteArray plantedWal(FuzzedDataProvider& input)
{
    WalChecksum sum;
    QByteArray wal = bigEndian({0x377F0683, 3007000, PageBytes, 0, Salt, Salt});
    sum.add(wal);
    wal += bigEndian({sum.first, sum.second});
    while (input.remaining_bytes() > 0) {
        const quint32 page = anyPage(input);
        const quint32 pagesAfterCommit = input.ConsumeBool() ? anyPage(input) : 0;
        const QByteArray start = bigEndian({page, pagesAfterCommit});
        const QByteArray content = changedPage(page, input);
        sum.add(start);
        sum.add(content);
        wal += start + bigEndian({Salt, Salt, sum.first, sum.second}) + content;
    }
    return wal;
}

// The same as a journal that is rolled back (sqlite.org/fileformat2.html#the_rollback_journal).
QByteArray plantedJournal(FuzzedDataProvider& input)
{
    const quint32 pages = anyPage(input);
    QByteArray records;
    quint32 count = 0;
    for (; input.remaining_bytes() > 0; ++count) {
        const quint32 page = anyPage(input);
        const QByteArray content = changedPage(page, input);
        quint32 sum = Salt;
        for (int at = int(PageBytes) - 200; at > 0; at -= 200)
            sum += static_cast<unsigned char>(content.at(at));
        records += bigEndian({page}) + content + bigEndian({sum});
    }
    QByteArray journal =
        bigEndian({0xD9D505F9, 0x20A163D7, count, Salt, pages, PageBytes, PageBytes});
    journal.resize(PageBytes, '\0');
    return journal + records;
}

QMap<QString, QByteArray> allFiles()
{
    QMap<QString, QByteArray> files;
    for (const QString& name : QDir(fuzzFolder()).entryList(QDir::Files | QDir::Hidden))
        files.insert(name, fuzzRead(fuzzFolder() + u'/' + name));
    return files;
}

// Runs something that may refuse the store, with a text.
template <class Action>
void attempt(const Action& action)
{
    try {
        action();
    } catch (const DatabaseError& error) {
        fuzzRequire(!error.text().isEmpty());
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    return 0;
}

/// Puts a WAL or a journal beside a store, of any bytes or with changed pages. Reading changes no
/// byte; opening uses the store or refuses it with a text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QByteArray& image = fuzzImage();
    FuzzedDataProvider input(bytes, size);
    const bool isWal = input.ConsumeBool();
    const bool isPlanted = input.ConsumeBool();
    const QByteArray companion =
        isPlanted ? (isWal ? plantedWal(input) : plantedJournal(input))
                  : QByteArray::fromStdString(input.ConsumeRemainingBytesAsString());
    fuzzRemoveFiles();
    fuzzWrite(fuzzStorePath(), image);
    fuzzWrite(fuzzStorePath() + (isWal ? u"-wal"_s : u"-journal"_s), companion);

    const auto before = allFiles();
    const StoreInspection inspection(fuzzStorePath());
    fuzzRequire(!inspection.finding(u"The file"_s).isEmpty() && allFiles() == before);
    attempt([] { fuzzUse(SqliteDatabaseFactory::openReadOnly(fuzzStorePath())); });
    fuzzRequire(allFiles() == before);

    attempt([] { fuzzUse(SqliteDatabaseFactory::open(fuzzStorePath())); });
    return 0;
}
