// Compiled with the source that stands for a fleet in a build without PostgreSQL.

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/fleet/Fleet.h>
#include <velmioctl/store/Session.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace velmioctl {

class TestWithoutPostgres : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCommandSaysWhatIsMissing()
    {
        Session session(Output(stdout, stderr, {}, {}));
        for (auto* const command :
             {fleet::init, fleet::push, fleet::list, fleet::report, fleet::show, fleet::forget}) {
            try {
                command(session, {});
                QFAIL("It has run");
            } catch (const CommandError& error) {
                QCOMPARE(error.code(), ExitCode::Usage);
                QVERIFY(error.text().contains(u"built without PostgreSQL"_s));
            }
        }
    }
};

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestWithoutPostgres)
#include "TestWithoutPostgres.moc"
