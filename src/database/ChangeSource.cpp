#include <database/ChangeSource.h>

#include <database/schema/Tables.h>

#include <QLatin1StringView>

#include <array>

namespace sync::database {

namespace {

// In the order of Tables.
constexpr std::array Kinds{RecordKind::Server,   RecordKind::SignIn,  RecordKind::Product,
                           RecordKind::Folder,   RecordKind::File,    RecordKind::GeneratedFile,
                           RecordKind::BaseFile, RecordKind::Schedule};
static_assert(Kinds.size() == Tables.size());

} // namespace

RecordKind recordKindOf(QStringView table)
{
    for (std::size_t index = 0; index < Tables.size(); ++index) {
        if (table.compare(QLatin1StringView(Tables[index]), Qt::CaseInsensitive) == 0)
            return Kinds[index];
    }
    return RecordKind::Other;
}

ChangeSource::~ChangeSource() = default;

} // namespace sync::database
