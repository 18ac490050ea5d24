#include <velmioctl/exchange/RowPaths.h>

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using sync::tree::isAbsoluteAnywhere;
using sync::tree::PathMapping;

namespace velmioctl::exchange {

namespace {

// A path may contain '=', so the first one before an absolute path counts.
PathMapping mappingFrom(const QString& text)
{
    for (auto at = text.indexOf(u'='); at > 0; at = text.indexOf(u'=', at + 1)) {
        const QString from = text.first(at);
        const QString to = text.sliced(at + 1);
        if (isAbsoluteAnywhere(from) && isAbsoluteAnywhere(to))
            return {from, to};
    }
    throw CommandError(
        ExitCode::Usage,
        u"--map cannot be %1. Give two absolute paths, such as C:\\Users\\kim=/home/kim."_s.arg(
            quoted(text)));
}

Value* textIn(const TableShape& table, Row& row, const char* column)
{
    const size_t at = table.indexOf(column);
    return at < row.values.size() && std::holds_alternative<Text>(row.values[at]) ? &row.values[at]
                                                                                  : nullptr;
}

QString stringOf(const Value& value)
{
    return QString::fromUtf8(std::get<Text>(value).bytes);
}

} // namespace

RowPaths::RowPaths(const std::vector<std::string>& texts)
{
    for (const std::string& text : texts) {
        const QString given = QString::fromStdString(text);
        mappings.push_back({mappingFrom(given), given});
    }
    std::stable_sort(mappings.begin(), mappings.end(), [](const auto& left, const auto& right) {
        return left.paths.from().size() > right.paths.from().size();
    });
}

bool RowPaths::apply(
    const TableShape& table, Row& row, const sync::config::FileConfigManager& files)
{
    Value* const path = textIn(table, row, "clientPath");
    if (isEmpty() || !path)
        return false;
    const QString oldFile = stringOf(*path);
    const QString newFile = newPath(oldFile);
    if (Value* const links = textIn(table, row, "fileLinks")) {
        const auto moved = sync::tree::movedFileLinks(
            files, stringOf(*links), oldFile, newFile,
            [this](const QString& target) { return newPath(target); });
        if (moved)
            *links = Text{moved->toUtf8()};
    }
    // A path that is not valid UTF-8 stays as it is.
    if (newFile == oldFile)
        return false;
    *path = Text{newFile.toUtf8()};
    return true;
}

void RowPaths::requireAllUsed() const
{
    for (const Mapping& mapping : mappings) {
        if (mapping.used)
            continue;
        throw CommandError(
            ExitCode::Usage,
            u"Nothing was imported, because the export has no path that --map %1 changes. Correct "
            u"the first path, or leave the option out."_s.arg(quoted(mapping.given)));
    }
}

QString RowPaths::newPath(const QString& path)
{
    for (Mapping& mapping : mappings) {
        if (const auto mapped = mapping.paths.mapped(path)) {
            mapping.used = true;
            return *mapped;
        }
    }
    return path;
}

} // namespace velmioctl::exchange
