#pragma once

#include <fleet/statement/Translation.h>

#include <QHash>

#include <memory>
#include <mutex>

namespace sync::fleet {

/// The translations of a store's statements, so that each is made once. Any thread may ask.
class TranslationCache
{
public:
    std::shared_ptr<const Translation> find(const QString& sql);

private:
    std::mutex mutex; // guards the table, for a look-up
    QHash<QString, std::shared_ptr<const Translation>> translations;
};

} // namespace sync::fleet
