// Opens a store of a fleet where no server is, which fails with a text that names the place.
#include <database/DatabaseError.h>
#include <fleet/PostgresDatabaseFactory.h>

#include <QTemporaryDir>
#include <QTextStream>

int main()
{
    const QTemporaryDir folder;
    try {
        sync::fleet::PostgresDatabaseFactory::open(
            QStringLiteral("host=%1 dbname=fleet").arg(folder.path()), QStringLiteral("a"));
    } catch (const sync::database::DatabaseError& error) {
        const bool isUnreachable =
            error.cause() == sync::database::DatabaseError::Cause::Unreachable;
        QTextStream(stdout) << (isUnreachable ? "unreachable" : error.what()) << '\n';
    }
    return 0;
}
