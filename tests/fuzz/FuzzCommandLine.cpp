#include "FuzzInput.h"

#include <velmioctl/Application.h>
#include <velmioctl/store/Session.h>

#include <QByteArrayList>
#include <QLoggingCategory>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace velmioctl;
using sync::test::fuzzBytes;
using sync::test::fuzzRequire;

namespace {

std::FILE* nowhere = nullptr;

void run(QByteArrayList arguments)
{
    arguments.prepend("velmioctl");
    std::vector<const char*> words;
    for (const QByteArray& argument : std::as_const(arguments))
        words.push_back(argument.constData());
    Session session(Output(nowhere, nowhere, {}, {}));
    session.databaseOption = "configuration.db";
    const auto code =
        static_cast<int>(runApplication(static_cast<int>(words.size()), words.data(), session));
    fuzzRequire(code >= 0 && code <= 130);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    QLoggingCategory::setFilterRules(u"velmio.*=false"_s);
    nowhere = std::fopen("/dev/null", "r+");
    const QByteArray folder = sync::test::fuzzFolder().toLocal8Bit();
    for (const char* const variable :
         {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "HOME"})
        qputenv(variable, folder);
    // Standard input is empty, and relative names refer to the folder.
    fuzzRequire(nowhere && ::dup2(::fileno(nowhere), STDIN_FILENO) == STDIN_FILENO);
    fuzzRequire(::chdir(folder.constData()) == 0);
    run({"init"});
    return 0;
}

/// Runs velmioctl with the lines of the input as its arguments: it always returns an exit code.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const QByteArray text = fuzzBytes(bytes, size);
    // Commands write to the files that they name. Only names in the folder are allowed.
    if (text.contains('/') || text.contains("..") || text.contains('\0') || text.contains('~'))
        return 0;
    run(text.split('\n'));
    return 0;
}
