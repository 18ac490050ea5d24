#pragma once

#include <interf/IQSqlQueryWrapper.h>
#include <support/Engines.h>
#include <support/RecordingDatabaseFactory.h>

#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace sync::test {

/// A manager over a recording database.
template <typename Manager>
struct Recording
{
    std::shared_ptr<RecordingDatabaseFactory> factory =
        std::make_shared<RecordingDatabaseFactory>();
    Manager manager{factory};
};

/// A manager over a new database file, with the engine of the test's row.
template <typename Manager>
struct Store
{
    QTemporaryDir directory;
    const std::shared_ptr<interf::factory::IDatabaseFactory> factory = openEngine(
        *static_cast<QString*>(QTest::qData("engine", QMetaType::QString)),
        directory.filePath(QStringLiteral("configuration.db")));
    Manager manager{factory};

    /// Runs a statement with values for ":v0", ":v1" and so on. Column 0 of its first row; an
    /// invalid value without a row.
    QVariant run(const QString& sql, const QVariantList& values = {})
    {
        const auto query = factory->CreateQuery();
        query->prepare(sql);
        for (qsizetype at = 0; at < values.size(); ++at)
            query->bindValue(QStringLiteral(":v%1").arg(at), values.at(at));
        if (!query->exec())
            qFatal("%s", qPrintable(query->lastError()));
        return query->next() ? query->value(0) : QVariant();
    }
};

} // namespace sync::test
