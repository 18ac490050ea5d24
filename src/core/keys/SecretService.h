#pragma once

#include <core/KeychainKeyStore.h>

namespace sync::core::crypto {

/// The status of an operation in the Secret Service of the session, for what QtKeychain's library
/// does not distinguish: it reports an entry that is locked as one that does not exist, and an
/// absent service as any error. See "Secret Service API" on freedesktop.org.
Keychain::Status statusInSecretService(
    Keychain::Status status, const QString& service, const QString& entryName);

} // namespace sync::core::crypto
