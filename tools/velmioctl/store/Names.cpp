#include <velmioctl/store/Names.h>

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>

#include <QStringList>

#include <array>
#include <optional>
#include <span>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace velmioctl {

namespace {

struct Word
{
    int value;
    QStringView text;
};

constexpr std::array StatusWords{
    Word{FolderStatusUnknown, u"unknown"},
    Word{FolderSyncing, u"syncing"},
    Word{FolderNotSynced, u"out-of-sync"},
    Word{FolderCreated, u"created"},
};
constexpr std::array OptionWords{
    Word{FolderOptionUnknown, u"unknown"},
    Word{TopLevelOnly, u"top-level"},
    Word{WithSubfolders, u"subfolders"},
};
constexpr std::array PrivilegeWords{
    Word{ViewPrivilege, u"view"},     Word{DownloadPrivilege, u"download"},
    Word{UpdatePrivilege, u"update"}, Word{DeletePrivilege, u"delete"},
    Word{SharePrivilege, u"share"},
};

constexpr std::array TypeWords{
    Word{OrdinaryFile, u"ordinary"},
    Word{GeneratedFile, u"generated"},
    Word{BaseFile, u"base"},
};

struct OrderWord
{
    QStringView text;
    QStringView column;
};

// Each of them upwards and, with "-desc" behind it, downwards.
constexpr std::array OrderWords{
    OrderWord{u"id", u"id"},
    OrderWord{u"name", u"name"},
    OrderWord{u"folder", u"folderConfigurationId"},
    OrderWord{u"client-path", u"clientPath"},
    OrderWord{u"server-path", u"serverPath"},
    OrderWord{u"checksum", u"checkSum"},
    OrderWord{u"created", u"createdDateTime"},
    OrderWord{u"modified", u"lastModifiedDateTime"},
    OrderWord{u"status", u"syncStatus"},
    OrderWord{u"operation", u"lastOperationType"},
    OrderWord{u"size", u"size"},
};

QString nameOf(int value, std::span<const Word> words)
{
    for (const Word& word : words) {
        if (word.value == value)
            return word.text.toString();
    }
    return QString::number(value);
}

std::optional<int> valueOf(const QString& text, std::span<const Word> words)
{
    for (const Word& word : words) {
        if (word.text.compare(text, Qt::CaseInsensitive) == 0)
            return word.value;
    }
    return std::nullopt;
}

std::vector<std::string> textsOf(std::span<const Word> words)
{
    std::vector<std::string> texts;
    for (const Word& word : words)
        texts.push_back(word.text.toString().toStdString());
    return texts;
}

QString listed(std::span<const Word> words)
{
    QStringList texts;
    for (const Word& word : words)
        texts += word.text.toString();
    return texts.join(u", "_s);
}

int valueOrNumber(const std::string& text, std::span<const Word> words, const QString& what)
{
    const QString wanted = QString::fromStdString(text);
    if (const auto value = valueOf(wanted, words))
        return *value;
    bool isNumber = false;
    const int number = wanted.toInt(&isNumber);
    if (isNumber)
        return number;
    throw CommandError(
        ExitCode::Usage, u"There is no %1 %2: give one of %3, or a number."_s.arg(
                             what, quoted(wanted), listed(words)));
}

} // namespace

QString syncStatusName(int status)
{
    return nameOf(status, StatusWords);
}

std::vector<std::string> syncStatusWords()
{
    return textsOf(StatusWords);
}

std::vector<std::string> folderOptionWords()
{
    return textsOf(OptionWords);
}

std::vector<std::string> fileTypeWords()
{
    return textsOf(TypeWords);
}

std::vector<std::string> fileOrderWords()
{
    std::vector<std::string> texts;
    for (const OrderWord& order : OrderWords) {
        texts.push_back(order.text.toString().toStdString());
        texts.push_back(texts.back() + "-desc");
    }
    return texts;
}

std::vector<std::string> privilegeWords()
{
    std::vector<std::string> texts = textsOf(PrivilegeWords);
    texts.insert(texts.end(), {"all", "none"});
    return texts;
}

int syncStatusFrom(const std::string& text)
{
    return valueOrNumber(text, StatusWords, u"status"_s);
}

QString folderOptionName(int option)
{
    return nameOf(option, OptionWords);
}

int folderOptionFrom(const std::string& text)
{
    return valueOrNumber(text, OptionWords, u"folder option"_s);
}

QString fileTypeName(int type)
{
    return nameOf(type, TypeWords);
}

FileConfigurationType fileTypeFrom(const std::string& text)
{
    const QString wanted = QString::fromStdString(text);
    if (const auto value = valueOf(wanted, TypeWords))
        return static_cast<FileConfigurationType>(*value);
    throw CommandError(
        ExitCode::Usage,
        u"There is no file type %1: give one of %2."_s.arg(quoted(wanted), listed(TypeWords)));
}

QString fileOrderFrom(const std::string& text)
{
    const QString wanted = QString::fromStdString(text);
    const bool downwards = wanted.endsWith(u"-desc");
    const QString word = downwards ? wanted.chopped(5) : wanted;
    QStringList words;
    for (const OrderWord& order : OrderWords) {
        if (order.text == word)
            return order.column.toString() + (downwards ? u" DESC"_s : QString());
        words += order.text.toString();
    }
    throw CommandError(
        ExitCode::Usage, u"There is no order %1: give one of %2, with -desc behind it for "
                         u"downwards."_s.arg(quoted(wanted), words.join(u", "_s)));
}

QString privilegesName(int privileges)
{
    if (privileges == NoPrivileges)
        return u"none"_s;
    if ((privileges & ~int(AllPrivileges)) != 0)
        return QString::number(privileges);
    QStringList words;
    for (const Word& word : PrivilegeWords) {
        if ((privileges & word.value) != 0)
            words += word.text.toString();
    }
    return words.join(u' ');
}

int privilegesFrom(const std::string& text)
{
    const QString wanted = QString::fromStdString(text).replace(u',', u' ').simplified();
    if (wanted.compare(u"all", Qt::CaseInsensitive) == 0)
        return AllPrivileges;
    if (wanted.compare(u"none", Qt::CaseInsensitive) == 0)
        return NoPrivileges;
    bool isNumber = false;
    const int number = wanted.toInt(&isNumber);
    if (isNumber && number >= 0 && number <= AllPrivileges)
        return number;

    int privileges = NoPrivileges;
    const QStringList words = wanted.split(u' ', Qt::SkipEmptyParts);
    for (const QString& word : words) {
        const auto value = valueOf(word, PrivilegeWords);
        if (!value) {
            throw CommandError(
                ExitCode::Usage,
                u"There is no privilege %1: give some of %2, or all, none, or a "
                u"number from 0 to 31."_s.arg(quoted(word), listed(PrivilegeWords)));
        }
        privileges |= *value;
    }
    if (words.isEmpty()) {
        throw CommandError(
            ExitCode::Usage,
            u"No privileges were named: give some of %1, or none."_s.arg(listed(PrivilegeWords)));
    }
    return privileges;
}

} // namespace velmioctl
