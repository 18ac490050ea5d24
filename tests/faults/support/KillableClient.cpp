#include "KillableClient.h"

#include "Managers.h"

#include <base/system/Files.h>
#include <base/system/Terminal.h>
#include <config/PasswordKeys.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace sync::test {

namespace {

const QString TreesPath = u"/trees/"_s;
const QString RootsPath = u"/roots/"_s;
constexpr int TreeFolders = 20;
constexpr int FilesPerFolder = 5;

QString wholeTree()
{
    return u"%1 folders, %2 files"_s.arg(1 + TreeFolders).arg(TreeFolders * FilesPerFolder);
}

// Unbuffered, because the process can be killed at any moment.
void say(const QString& line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    if (!base::writeBytes(base::fileBehind(stdout), bytes))
        throw std::runtime_error("standard output is closed");
}

class Client
{
public:
    Client(const QString& path, const QString& run)
        : path(path)
        , run(run)
    {
    }

    void writeRows()
    {
        open();
        for (;;) {
            plantRoot();
            const QString file = nextPath();
            add(file);
            for (int version = 1; version <= 3; ++version)
                set(file, QString::number(version));
        }
    }

    void writeTrees()
    {
        open();
        for (;;) {
            const QString root = TreesPath + run + u'-' + QString::number(++count);
            perform(u"plant "_s + root, [&] { return plant(root); });
            const int id = managers->folders->GetFolderConfigurationByClientPath(root).getId();
            perform(u"clean "_s + root, [&] { return managers->folders->CleanRootFolder(id); });
        }
    }

    void closeOften()
    {
        for (;;) {
            open();
            add(nextPath());
            managers.reset();
        }
    }

    void changeKeys()
    {
        open();
        PasswordKeys keys(managers->factory);
        for (;;) {
            perform(u"rekey"_s, [&] { return keys.changeKey().succeeded; });
            perform(u"drop"_s, [&] { return keys.dropUnusedKeys(std::chrono::hours(0)) >= 0; });
        }
    }

    void openOnce()
    {
        perform(u"open"_s, [this] {
            open();
            return true;
        });
        std::promise<void>().get_future().wait();
    }

private:
    void open() { managers = std::make_unique<Managers>(path); }

    QString nextPath() { return u"/files/%1-%2"_s.arg(run).arg(++count); }

    void perform(const QString& operation, const std::function<bool()>& act)
    {
        say(u"try "_s + operation);
        if (!act())
            throw std::runtime_error("operation failed: " + operation.toStdString());
        say(u"did "_s + operation);
    }

    void add(const QString& file)
    {
        perform(u"set %1 0"_s.arg(file), [&] {
            FileConfiguration record = sampleFile(file, 1, 1);
            record.setServerPath(u"0"_s);
            return managers->files.Add(record);
        });
    }

    void set(const QString& file, const QString& value)
    {
        perform(u"set %1 %2"_s.arg(file, value), [&] {
            FileConfiguration record = managers->files.GetFileConfigurationByClientPath(file);
            record.setServerPath(value);
            return managers->files.Update(record);
        });
    }

    // Adds a single root, without the transaction that plant() uses.
    void plantRoot()
    {
        const QString rootPath = RootsPath + run + u'-' + QString::number(++count);
        perform(
            u"set %1 root"_s.arg(rootPath), [&] { return managers->addFolder(rootPath, 0, -1); });
    }

    bool plant(const QString& rootPath)
    {
        FolderConfiguration root = sampleFolder(rootPath, 0, -1);
        bool planted = managers->files.transaction() && managers->folders->Add(root);
        for (int number = 0; planted && number < TreeFolders; ++number) {
            const QString folderPath = rootPath + u'/' + QString::number(number);
            FolderConfiguration folder = sampleFolder(folderPath, root.getId(), root.getId());
            planted = managers->folders->Add(folder);
            for (int file = 0; planted && file < FilesPerFolder; ++file) {
                const QString filePath = folderPath + u'/' + QString::number(file);
                planted = managers->addFile(filePath, folder.getId(), root.getId());
            }
        }
        return planted && managers->files.commit();
    }

    const QString path;
    const QString run;
    int count = 0;
    std::unique_ptr<Managers> managers;
};

} // namespace

int runKillableClient(const QStringList& arguments)
{
    static const QMap<QString, void (Client::*)()> actions{
        {u"rows"_s, &Client::writeRows},         {u"trees"_s, &Client::writeTrees},
        {u"checkpoints"_s, &Client::closeOften}, {u"rekey"_s, &Client::changeKeys},
        {u"open"_s, &Client::openOnce},
    };
    try {
        Client client(arguments.at(1), arguments.at(2));
        (client.*actions.value(arguments.at(0)))();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

ClientRows clientRowsOf(Managers& managers)
{
    ClientRows rows;
    QMap<QString, int> folders; // root path -> number of folders
    QMap<QString, int> files;
    const auto rootOf = [](const QString& path) { return path.section(u'/', 0, 2); };
    const auto allFolders = managers.folders->GetAll();
    for (const FolderConfiguration& folder : allFolders) {
        if (folder.getClientPath().startsWith(TreesPath))
            ++folders[rootOf(folder.getClientPath())];
        else if (folder.getClientPath().startsWith(RootsPath))
            rows.insert(folder.getClientPath(), u"root"_s);
    }
    const auto allFiles = managers.files.GetAll();
    for (const FileConfiguration& file : allFiles) {
        if (file.getClientPath().startsWith(TreesPath))
            ++files[rootOf(file.getClientPath())];
        else if (file.getClientPath().startsWith(u"/files/"_s))
            rows.insert(file.getClientPath(), file.getServerPath());
    }
    const QStringList roots = folders.keys() + files.keys();
    for (const QString& root : roots)
        rows.insert(root, u"%1 folders, %2 files"_s.arg(folders[root]).arg(files[root]));
    return rows;
}

ClientRows after(const QString& operation, ClientRows rows)
{
    const QStringList words = operation.split(u' ');
    if (words[0] == u"set")
        rows.insert(words[1], words[2]);
    else if (words[0] == u"plant")
        rows.insert(words[1], wholeTree());
    else if (words[0] == u"clean")
        rows.remove(words[1]);
    return rows;
}

} // namespace sync::test
