#pragma once

#include <QDirIterator>
#include <QFile>
#include <QString>

#include <sys/types.h>
#include <unistd.h>

namespace sync::test {

constexpr uid_t Nobody = 65534;

/// Takes away the rights of root, whom permissions do not restrict.
class AsNobody
{
public:
    AsNobody()
        : wasRoot(::geteuid() == 0)
    {
        if (wasRoot)
            wasRoot = ::seteuid(Nobody) == 0;
    }
    ~AsNobody()
    {
        if (wasRoot && ::seteuid(0) != 0)
            qFatal("The rights of root are lost.");
    }
    Q_DISABLE_COPY_MOVE(AsNobody)

private:
    bool wasRoot;
};

/// The same for good, for a new process.
inline void becomeNobody()
{
    if (::geteuid() == 0 && (::setgid(Nobody) != 0 || ::setuid(Nobody) != 0))
        ::_exit(99);
}

/// Lets AsNobody work in a folder and everything in it. False if that fails.
inline bool giveToNobody(const QString& folder)
{
    if (::geteuid() != 0)
        return true;
    bool given = ::chown(QFile::encodeName(folder).constData(), Nobody, Nobody) == 0;
    QDirIterator all(
        folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
        QDirIterator::Subdirectories);
    while (all.hasNext())
        given = ::chown(QFile::encodeName(all.next()).constData(), Nobody, Nobody) == 0 && given;
    return given;
}

} // namespace sync::test
