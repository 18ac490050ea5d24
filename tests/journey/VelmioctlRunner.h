#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>

/// The result of a run of velmioctl.
struct VelmioctlRun
{
    int exitCode = -1;
    QString output;
    QString errors;

    /// The answer of a run with --json. Empty if it is not JSON; no expectation matches that.
    QJsonObject object() const;
    QJsonArray array() const;
};

/// Runs the real velmioctl as a user without a terminal would, with its own home folder.
class VelmioctlRunner
{
public:
    VelmioctlRunner();

    /// Runs it on databasePath().
    VelmioctlRun run(const QStringList& arguments) const;

    /// The same, with --json.
    VelmioctlRun json(const QStringList& arguments) const;

    /// Runs it with only these arguments, and passes the text to standard input.
    VelmioctlRun runPlain(const QStringList& arguments, const QByteArray& input = {}) const;

    /// run() and json() with text on standard input.
    VelmioctlRun feed(const QStringList& arguments, const QByteArray& input) const;
    VelmioctlRun feedJson(const QStringList& arguments, const QByteArray& input) const;

    /// Runs a statement in the database; false if that fails.
    bool execute(const QString& sql) const;
    static bool execute(const QString& sql, const QString& database);

    /// The content of the database file and its WAL.
    QByteArray databaseBytes() const;

    QString programPath() const { return program; }
    QString databasePath() const { return path(QStringLiteral("configuration.db")); }
    /// On Windows the user's own: see packaging/windows/run-test.
    QString keyPath() const;
    QString homePath() const { return path(QStringLiteral("home")); }

    /// The path of a name in the temporary folder.
    QString path(const QString& name) const { return directory.path() + QLatin1Char('/') + name; }

    /// Creates a folder in the temporary folder and returns its path.
    QString makeFolder(const QString& name) const;

    void writeFile(const QString& name, const QByteArray& content) const;

    QProcessEnvironment environment;

    /// velmioctl, or a program that runs its commands.
    QString program;

    /// Runs it as a user without the rights of root and of the owner of the files.
    bool asNobody = false;

private:
    QTemporaryDir directory;
};
