#include <config/statement/RowReader.h>

#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;
using sync::config::RowReader;

namespace {

/// A host's query, not typed, with a current row of one column.
class PlainQuery : public sync::interf::IQSqlQueryWrapper
{
public:
    explicit PlainQuery(QVariant column)
        : column(std::move(column))
    {
    }

    QString lastError() const override { return {}; }
    QString lastQuery() const override { return {}; }
    QVariant value(int) const override { return column; }
    bool next() override { return false; }
    bool isValid() const override { return true; }
    bool prepare(const QString&) override { return true; }
    void bindValue(const QString&, const QVariant&) override {}
    QVariant boundValue(const QString&) const override { return {}; }
    void setForwardOnly(bool) override {}
    bool exec() override { return true; }
    QVariant lastInsertId() const override { return {}; }
    int numRowsAffected() const override { return -1; }

private:
    const QVariant column;
};

} // namespace

class TestRowReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void columnsOfAHostReadAsTheToolkitConvertsThem_data()
    {
        QTest::addColumn<QVariant>("value");
        for (const QVariant& value : {
                 QVariant(),
                 QVariant(7),
                 QVariant(-7LL),
                 QVariant(5'000'000'000LL),
                 QVariant(std::numeric_limits<qlonglong>::min()),
                 QVariant(4'000'000'000U),
                 QVariant(2.5),
                 QVariant(u"12"_s),
                 QVariant(u"text"_s),
                 QVariant("12"_ba),
                 QVariant(QDateTime({2024, 2, 29}, {23, 59}, Qt::LocalTime)),
                 QVariant(u"2024-02-29T23:59:58.007"_s),
             })
            QTest::addRow("%s '%s'", value.typeName(), qPrintable(value.toString())) << value;
    }

    void columnsOfAHostReadAsTheToolkitConvertsThem()
    {
        QFETCH(const QVariant, value);
        PlainQuery query(value);

        const RowReader row(&query, nullptr);

        QCOMPARE(row.integer(0), value.toInt());
        QCOMPARE(row.longInteger(0), value.toLongLong());
        QCOMPARE(row.text(0), value.toString());
        QCOMPARE(row.value(0), value);
        QVERIFY(!row.holds(0, u"12"));
        QDateTime time = value.toDateTime();
        time.setTimeSpec(Qt::UTC);
        QCOMPARE(row.utcTime(0), time);
    }
};

QTEST_GUILESS_MAIN(TestRowReader)
#include "TestRowReader.moc"
