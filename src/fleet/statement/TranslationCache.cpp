#include <fleet/statement/TranslationCache.h>

#include <base/LockGuard.h>

namespace sync::fleet {

namespace {

// The managers have some 90 statements; lists of ids make more.
constexpr qsizetype MostTranslations = 512;

} // namespace

std::shared_ptr<const Translation> TranslationCache::find(const QString& sql)
{
    {
        const base::LockGuard lock(mutex);
        if (auto known = translations.value(sql))
            return known;
    }
    auto made = std::make_shared<const Translation>(translate(sql));
    const base::LockGuard lock(mutex);
    if (translations.size() >= MostTranslations)
        translations.clear();
    // A deep copy: the caller's text may be static data of a library that is unloaded later.
    translations.insert(QString(sql.constData(), sql.size()), made);
    return made;
}

} // namespace sync::fleet
