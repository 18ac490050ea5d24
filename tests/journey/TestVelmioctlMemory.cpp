#include "PseudoTerminal.h"
#include "VelmioctlRunner.h"

#include <velmioctl/Application.h>
#include <velmioctl/cli/HiddenPrompt.h>
#include <velmioctl/cli/Terminal.h>
#include <velmioctl/store/Session.h>

#include <QFile>
#include <QTest>

#include <cstdio>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto SubjectVariable = "VELMIO_MEMORY_SUBJECT";
constexpr int LongestWaitMs = 60'000;

// Runs this program as velmioctl, except that its memory may be read, and keeps it running when the
// command has ended.
[[noreturn]] void runAsSubject(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    int code = 0;
    {
        velmioctl::Session session(velmioctl::Output(
            stdout, stderr, velmioctl::terminalOf(stdout, true),
            velmioctl::terminalOf(stderr, true)));
        try {
            code = static_cast<int>(velmioctl::runApplication(argc, argv, session));
        } catch (const velmioctl::EndedBySignal& ended) {
            code = 128 + ended.signal;
        }
    }
    std::printf("\nended with %d\n", code);
    std::fflush(stdout);
    for (;;)
        ::pause();
}

QByteArray utf16(const QByteArray& text)
{
    QByteArray bytes;
    for (const char byte : text)
        bytes.append(byte).append('\0');
    return bytes;
}

/// True if a running process has a text anywhere in its memory.
bool remembers(qint64 process, const QByteArray& text)
{
    const QString folder = u"/proc/%1/"_s.arg(process);
    QFile maps(folder + u"maps"_s);
    QFile memory(folder + u"mem"_s);
    if (!maps.open(QIODevice::ReadOnly) ||
        !memory.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        qFatal("The memory of the program cannot be read.");
    for (const QByteArray& line : maps.readAll().split('\n')) {
        const auto range = line.left(line.indexOf(' ')).split('-');
        if (range.size() != 2)
            continue;
        const qint64 start = range[0].toLongLong(nullptr, 16);
        const qint64 size = range[1].toLongLong(nullptr, 16) - start;
        // Sanitizers have larger ones, in which nothing is stored.
        constexpr qint64 LargestBytes = qint64(1) << 27;
        if (size > LargestBytes || !memory.seek(start))
            continue;
        // Guard pages cannot be read.
        const QByteArray content = memory.read(size);
        if (content.contains(text) || content.contains(utf16(text)))
            return true;
    }
    return false;
}

} // namespace

class TestVelmioctlMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QCOMPARE(
            tool->run({u"server"_s, u"add"_s, u"--dav-url"_s, u"https://a.example/dav"_s,
                       u"--web-service-url"_s, u"https://a.example/ws"_s})
                .exitCode,
            0);
        tool->writeFile(u"password"_s, password + '\n');
        tool->writeFile(u"passphrase"_s, passphrase + '\n');
        tool->program = QCoreApplication::applicationFilePath();
        tool->environment.insert(QString::fromLatin1(SubjectVariable), u"1"_s);
    }

    void typedPasswordIsWiped_data()
    {
        QTest::addColumn<QByteArray>("second");
        QTest::addColumn<QByteArray>("end");
        QTest::newRow("stored") << QByteArray(password + '\n') << QByteArray("ended with 0");
        QTest::newRow("entries differ") << QByteArray("x\n") << QByteArray("ended with 2");
        QTest::newRow("interrupted") << QByteArray("\x03") << QByteArray("ended with 130");
        QTest::newRow("quit") << QByteArray("\x1c") << QByteArray("ended with 131");
    }

    void typedPasswordIsWiped()
    {
        QFETCH(QByteArray, second);
        QFETCH(QByteArray, end);

        PseudoTerminal terminal(*tool, addSignIn());
        QVERIFY(terminal.waitFor("New password: "));
        terminal.type(password + '\n');
        QVERIFY(terminal.waitFor("Repeat it: "));
        // The search finds what is there.
        QVERIFY(remembers(terminal.processId(), password));
        terminal.type(second);

        QVERIFY2(terminal.waitFor(end), terminal.transcript().constData());
        QVERIFY(!remembers(terminal.processId(), password));
    }

    void passwordFromStandardInputIsWiped()
    {
        verifyForgets(addSignIn() + QStringList{u"--password-stdin"_s}, u"password"_s);
        verifyForgets({u"signin"_s, u"password"_s, u"1"_s, u"--password-stdin"_s}, u"password"_s);
    }

    void storedPasswordIsWiped_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("verify") << QStringList{u"secrets"_s, u"verify"_s};
        QTest::newRow("rekey") << QStringList{u"secrets"_s, u"rekey"_s};
        QTest::newRow("doctor") << QStringList{u"doctor"_s};
        QTest::newRow("diff") << QStringList{
            u"diff"_s, u"configuration.db"_s, u"configuration.db"_s};
    }

    void storedPasswordIsWiped()
    {
        QFETCH(QStringList, arguments);
        verifyForgets(addSignIn() + QStringList{u"--password-stdin"_s}, u"password"_s);

        verifyForgets(arguments, u"password"_s);
    }

    void exportAndImportWipePasswordsAndPassphrase()
    {
        const QStringList fromInput{u"--passphrase-stdin"_s};
        verifyForgets(addSignIn() + QStringList{u"--password-stdin"_s}, u"password"_s);
        verifyForgets(
            QStringList{u"export"_s, u"all.json"_s, u"--with-secrets"_s} + fromInput,
            u"passphrase"_s);
        verifyForgets({u"signin"_s, u"remove"_s, u"1"_s, u"--yes"_s}, u"passphrase"_s);

        verifyForgets(
            QStringList{u"import"_s, u"all.json"_s, u"--yes"_s} + fromInput, u"passphrase"_s);
        verifyForgets(
            QStringList{u"import"_s, u"all.json"_s, u"--yes"_s} + fromInput, u"password"_s, 7);
    }

private:
    static QStringList addSignIn()
    {
        return {u"signin"_s,   u"add"_s,     u"--server"_s, u"1"_s,
                u"--domain"_s, u"example"_s, u"--user"_s,   u"kim"_s};
    }

    // Runs a command with the file of this name as standard input, and searches its memory after
    // it.
    void verifyForgets(const QStringList& arguments, const QString& input, int exitCode = 0)
    {
        QProcess process;
        process.setProcessEnvironment(tool->environment);
        process.setWorkingDirectory(tool->path({}));
        process.setStandardInputFile(tool->path(input));
        process.start(
            tool->programPath(), QStringList{u"--database"_s, tool->databasePath()} + arguments);
        const QByteArray end = "ended with " + QByteArray::number(exitCode) + '\n';
        QByteArray output;
        while (!output.contains("ended with ") && process.waitForReadyRead(LongestWaitMs))
            output += process.readAllStandardOutput();
        output += process.readAllStandardError();
        QVERIFY2(output.contains(end), output.constData());
        QVERIFY2(!remembers(process.processId(), password), qPrintable(arguments.join(u' ')));
        QVERIFY2(!remembers(process.processId(), passphrase), qPrintable(arguments.join(u' ')));
        process.kill();
        process.waitForFinished();
    }

    // Put together here, because the subject is the same program and has its constants.
    const QByteArray password = QByteArray("Kx7-correct-") + "horse-Qv9";
    const QByteArray passphrase = QByteArray("Zw4-battery-") + "staple-Jp2";
    std::unique_ptr<VelmioctlRunner> tool;
};

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet(SubjectVariable))
        runAsSubject(argc, argv);
    const QCoreApplication application(argc, argv);
    TestVelmioctlMemory test;
    return QTest::qExec(&test, argc, argv);
}
#include "TestVelmioctlMemory.moc"
