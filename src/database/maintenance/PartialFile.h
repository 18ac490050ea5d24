#pragma once

#include <QByteArray>
#include <QString>

namespace sync::database {

/// A file that is being written beside the place where it is to stand. Gone, with what SQLite keeps
/// beside a database, unless it was put there.
class PartialFile
{
public:
    /// Creates it for the user alone; throws DatabaseError.
    explicit PartialFile(const QString& target);
    ~PartialFile();

    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    QString path() const;
    const QString& targetPath() const { return target; }

    void append(const QByteArray& bytes);

    /// Makes it durable under its name. Throws DatabaseError, also when a file has that name.
    void publish();

    /// The same, in the place of the file that has that name.
    void publishOver();

private:
    void sync() const;

    const QString target;
    QByteArray name; // as the operating system has it; empty when there is none any more
};

} // namespace sync::database
