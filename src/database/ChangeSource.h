#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <database/Listeners.h>

#include <QFlags>
#include <QStringView>

#include <functional>

namespace sync::database {

/// The kinds of records, one for each table.
enum class RecordKind {
    Server = 0x01,        ///< ServerConfiguration
    SignIn = 0x02,        ///< AuthenticationConfiguration
    Product = 0x04,       ///< ProductConfiguration
    Folder = 0x08,        ///< FolderConfiguration
    File = 0x10,          ///< FileConfiguration
    GeneratedFile = 0x20, ///< GeneratedFileConfiguration
    BaseFile = 0x40,      ///< BaseFileConfiguration
    Schedule = 0x80,      ///< Schedules
    Other = 0x100,        ///< Any other table of the database, such as the host's own.
};
Q_DECLARE_FLAGS(RecordKinds, RecordKind)
Q_DECLARE_OPERATORS_FOR_FLAGS(RecordKinds)

/// Every kind, for changes whose tables are not known.
constexpr RecordKinds AllRecordKinds = RecordKinds::fromInt(0x1FF);

/// The kind of the records in a table; case does not matter.
VELMIO_DATABASE_EXPORT RecordKind recordKindOf(QStringView table);

/// Offered by factories that report changes: what ChangeNotifier needs. Any thread may call.
class VELMIO_DATABASE_EXPORT ChangeSource
{
public:
    virtual ~ChangeSource();

    /// Calls the function after every later commit that has changed rows, until the result is
    /// destroyed: on the thread that has committed or called poll(), with no lock held. It must
    /// neither throw nor use the factory. Throws DatabaseError.
    [[nodiscard]] virtual Listening onChange(std::function<void(RecordKinds kinds)> function) = 0;

    /// Checks whether others have committed to the database since the last call, and if so calls
    /// the listeners. Waits for no writer.
    virtual void poll() = 0;
};

} // namespace sync::database
