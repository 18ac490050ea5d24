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

// Each of them ascending and, with "-desc" added, descending; the value is the place of its column.
constexpr std::array OrderWords{
    Word{0, u"id"},          Word{1, u"name"},      Word{2, u"folder"},  Word{3, u"client-path"},
    Word{4, u"server-path"}, Word{5, u"checksum"},  Word{6, u"created"}, Word{7, u"modified"},
    Word{8, u"status"},      Word{9, u"operation"}, Word{10, u"size"},
};
constexpr std::array OrderColumns{
    u"id",
    u"name",
    u"folderConfigurationId",
    u"clientPath",
    u"serverPath",
    u"checkSum",
    u"createdDateTime",
    u"lastModifiedDateTime",
    u"syncStatus",
    u"lastOperationType",
    u"size"};

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

// For a word that is not one of `words`; `others` says what else would do.
CommandError unknownWord(
    const QString& what, const QString& word, std::span<const Word> words,
    const QString& others = {})
{
    QStringList texts;
    for (const Word& known : words)
        texts += known.text.toString();
    return {
        ExitCode::Usage,
        u"Unknown %1 %2. Give one of %3%4."_s.arg(what, quoted(word), texts.join(u", "_s), others)};
}

int valueOrItsNumber(const std::string& text, std::span<const Word> words, const QString& what)
{
    const QString given = QString::fromStdString(text);
    if (const auto value = valueOf(given, words))
        return *value;
    // A record may hold another number, but nothing here can say what it would mean.
    for (const Word& word : words) {
        if (given == QString::number(word.value))
            return word.value;
    }
    throw unknownWord(
        what, given, words,
        u", or a number from %1 to %2"_s.arg(words.front().value).arg(words.back().value));
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
    for (const std::string& text : textsOf(OrderWords))
        texts.insert(texts.end(), {text, text + "-desc"});
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
    return valueOrItsNumber(text, StatusWords, u"status"_s);
}

QString folderOptionName(int option)
{
    return nameOf(option, OptionWords);
}

int folderOptionFrom(const std::string& text)
{
    return valueOrItsNumber(text, OptionWords, u"folder option"_s);
}

QString fileTypeName(int type)
{
    return nameOf(type, TypeWords);
}

FileConfigurationType fileTypeFrom(const std::string& text)
{
    const QString given = QString::fromStdString(text);
    if (const auto value = valueOf(given, TypeWords))
        return static_cast<FileConfigurationType>(*value);
    throw unknownWord(u"file type"_s, given, TypeWords);
}

QString fileOrderFrom(const std::string& text)
{
    const QString given = QString::fromStdString(text);
    const bool descending = given.endsWith(u"-desc");
    const auto at = valueOf(descending ? given.chopped(5) : given, OrderWords);
    if (!at)
        throw unknownWord(u"order"_s, given, OrderWords, u"; add -desc for descending order"_s);
    return QString::fromUtf16(OrderColumns[size_t(*at)]) + (descending ? u" DESC"_s : QString());
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
    const QString given = QString::fromStdString(text).replace(u',', u' ').simplified();
    if (given.compare(u"all", Qt::CaseInsensitive) == 0)
        return AllPrivileges;
    if (given.compare(u"none", Qt::CaseInsensitive) == 0)
        return NoPrivileges;
    bool isNumber = false;
    const int number = given.toInt(&isNumber);
    if (isNumber && number >= 0 && number <= AllPrivileges)
        return number;

    const QString others = u"; or all, none, or a number from 0 to 31"_s;
    int privileges = NoPrivileges;
    const QStringList words = given.split(u' ', Qt::SkipEmptyParts);
    for (const QString& word : words) {
        const auto value = valueOf(word, PrivilegeWords);
        if (!value)
            throw unknownWord(u"privilege"_s, word, PrivilegeWords, others);
        privileges |= *value;
    }
    if (words.isEmpty())
        throw unknownWord(u"privilege"_s, given, PrivilegeWords, others);
    return privileges;
}

} // namespace velmioctl
