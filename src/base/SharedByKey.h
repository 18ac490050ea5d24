#pragma once

#include <base/LockGuard.h>

#include <QHash>
#include <QString>

#include <memory>
#include <mutex>

namespace sync::base {

/// One object for each key, the same for all who ask while any of them keeps it.
template <typename Value>
class SharedByKey
{
public:
    /// Any thread may ask.
    std::shared_ptr<Value> at(const QString& key)
    {
        const LockGuard lock(mutex);
        auto value = values.value(key).lock();
        if (!value) {
            values.removeIf([](const auto& entry) { return entry.value().expired(); });
            value = std::make_shared<Value>();
            values.insert(key, value);
        }
        return value;
    }

private:
    std::mutex mutex;
    QHash<QString, std::weak_ptr<Value>> values;
};

} // namespace sync::base
