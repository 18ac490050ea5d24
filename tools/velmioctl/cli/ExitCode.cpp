#include <velmioctl/cli/ExitCode.h>

#include <base/FileError.h>
#include <base/system/Files.h>

#include <algorithm>
#include <cerrno>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

QString writingRemedy(int code)
{
    if (sync::base::isOutOfSpace(code))
        return u"The disk is full: free some space and try again."_s;
    switch (code) {
    case EACCES:
    case EPERM:
    case EROFS:
        return u"Give another path, or yourself the right to write there."_s;
    case EIO:
        return u"Check the disk."_s;
    case EBUSY:
        return u"Another program is using it: try again."_s;
    default:
        return u"Give another path."_s;
    }
}

QString writingCause(int code)
{
    if (sync::base::isOutOfSpace(code))
        return u"disk-full"_s;
    switch (code) {
    case EACCES:
    case EPERM:
        return u"no-permission"_s;
    case EROFS:
        return u"read-only"_s;
    default:
        return u"input-output"_s;
    }
}

QString wordFor(ExitCode code)
{
    const auto& all = exitCodeMeanings();
    return std::find_if(
               all.begin(), all.end(),
               [code](const ExitCodeMeaning& meaning) { return meaning.code == code; })
        ->word;
}

// A full stop in a name, which is in quotes, ends no sentence.
qsizetype endOfFirstSentence(const QString& text)
{
    bool inQuotes = false;
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QChar character = text[at];
        if (character == u'"')
            inQuotes = !inQuotes;
        const bool ends = character == u'.' || character == u'?';
        if (ends && !inQuotes && at + 1 < text.size() && text[at + 1].isSpace())
            return at + 1;
    }
    return text.size();
}

} // namespace

const std::vector<ExitCodeMeaning>& exitCodeMeanings()
{
    static const std::vector<ExitCodeMeaning> all{
        {ExitCode::Ok, u"done"_s, u"done"_s},
        {ExitCode::Findings, u"findings"_s,
         u"findings: a check answered no, something is wrong or differs, or the answer to a "
         u"question was no"_s},
        {ExitCode::Usage, u"usage"_s, u"wrong usage, or a request that is refused"_s},
        {ExitCode::NotFound, u"not-found"_s,
         u"not found: the database, a record, a file, a directory or a backup"_s},
        {ExitCode::Busy, u"busy"_s, u"the database is busy or in use"_s},
        {ExitCode::Damaged, u"damaged"_s,
         u"the database is damaged, or the file is not a database of the client"_s},
        {ExitCode::TooNew, u"too-new"_s, u"the database is of a newer version"_s},
        {ExitCode::KeyUnavailable, u"key-unavailable"_s,
         u"the key to a secret is not available, or a passphrase is wrong"_s},
        {ExitCode::OtherError, u"error"_s,
         u"another error of the database or the system, such as a full disk"_s},
        {ExitCode::Interrupted, u"interrupted"_s, u"interrupted by SIGINT"_s},
        {ExitCode::Terminated, u"terminated"_s, u"ended by SIGTERM"_s},
    };
    return all;
}

CommandError::CommandError(ExitCode code, const QString& text, const QString& cause)
    : std::runtime_error(text.toStdString())
    , exitCode(code)
    , causeWord(cause.isEmpty() ? wordFor(code) : cause)
{
}

QString CommandError::message() const
{
    return text().first(endOfFirstSentence(text()));
}

QString CommandError::remedy() const
{
    return text().sliced(endOfFirstSentence(text())).trimmed();
}

CommandError writingError(const QString& what, int code)
{
    return {
        ExitCode::OtherError,
        u"%1: %2. %3"_s.arg(what, sync::base::systemErrorText(code), writingRemedy(code)),
        writingCause(code)};
}

} // namespace velmioctl
