#pragma once
#include <core/PosixSync.h>

#include <QByteArray>
#include <QList>
#include <QString>

namespace sync::core::crypto {

/// Where a secret is stored and which servers may get it. An encrypted secret is bound to its
/// context: moved to another one, it cannot be read there.
///
/// The texts are compared exactly. What is empty is not known: it is neither bound nor checked.
struct SecretContext
{
    QString storeId = {};           ///< The id of the store.
    QByteArray record = {};         ///< What identifies the record in the store.
    QList<QByteArray> servers = {}; ///< What identifies each server that may get the secret.

    /// True if the store is known, so that a secret can be bound.
    bool isKnown() const { return !storeId.isEmpty(); }
};

} // namespace sync::core::crypto
