#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/KeyStore.h>

#include <QByteArray>
#include <QString>

namespace sync::core::crypto {

/// A stored secret, as far as it can be read.
struct Opened
{
    enum class Outcome {
        Read,
        Damaged,
        UnknownVersion,
        OtherKey, ///< The ring has no key of this id.
    };

    Outcome outcome = Outcome::Damaged;
    int version = 0;
    KeyBackend backend = {}; ///< The kind of store that keeps the key.
    KeyId keyId;             ///< Empty only when the value is damaged so that it cannot be told.
    QString secret;          ///< Only when it was read.
};

/// Encrypts a secret with a key that a store of this kind keeps. Each call gives another value.
VELMIO_CORE_EXPORT QByteArray seal(const QString& secret, const Key& key, KeyBackend backend);

/// Reads what seal() made. An empty ring tells what a value says of itself.
VELMIO_CORE_EXPORT Opened open(const QByteArray& stored, const KeyRing& ring);

} // namespace sync::core::crypto
