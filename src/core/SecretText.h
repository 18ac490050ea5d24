#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/SecureBytes.h>

#include <QString>

#include <memory>
#include <optional>

namespace sync::core::crypto {

/// A secret text in memory that is wiped at the end, see SecureBytes.
///
/// A value; copies share the memory, which the last one wipes. Any thread may read it.
class VELMIO_CORE_EXPORT SecretText
{
public:
    /// A null text.
    SecretText() = default;

    /// A text of UTF-16 code units in the byte order of the machine.
    explicit SecretText(SecureBytes utf16);

    /// Nothing if the bytes are not valid UTF-8.
    static std::optional<SecretText> fromUtf8(const SecureBytes& bytes);

    /// True if there is no text; an empty one is not null.
    bool isNull() const { return !units; }

    /// The text without a copy of it. Use neither the result nor a copy of it once the last copy of
    /// this object is gone.
    QString view() const;

    /// A copy in ordinary memory, which nothing wipes.
    QString toString() const;

    /// The text in UTF-8.
    SecureBytes toUtf8() const;

private:
    std::shared_ptr<const SecureBytes> units;
};

} // namespace sync::core::crypto
