#include <core/Constants.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace sync::core {

/// The client names files and folders on the disk after them.
class TestConstants : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesStayAsTheyAre()
    {
        QCOMPARE(consts::TEMP_FOLDER_NAME, u".{SyncTemp}"_s);
        QCOMPARE(consts::BASE_FOLDER_NAME, u".{SyncBackup}"_s);
        QCOMPARE(consts::BASE_FILE_EXTN, u"BASE"_s);
        QCOMPARE(consts::TEMP_FILE_EXTN, u"TMP"_s);
        QCOMPARE(consts::DELTA_FILE_EXTN, u"DELTA"_s);
    }
};

} // namespace sync::core

QTEST_GUILESS_MAIN(sync::core::TestConstants)
#include "TestConstants.moc"
