#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace sync::fleet {

/// What a connection to a store is opened with: the host's text, and settings of ours that it does
/// not name.
///
/// All state of a session is in them, so that a new connection has it too.
class ConnectionOptions
{
public:
    /// Throws DatabaseError if libpq does not understand the text. Errors do not repeat the text,
    /// because it may contain a password.
    ConnectionOptions(const QString& connection, const QString& storeId);

    /// For PQconnectdbParams(): the pointers end with a null pointer and stay valid as long as this
    /// object.
    /// @{
    std::vector<const char*> keywords() const;
    std::vector<const char*> values() const;
    ///@}

    /// The same without the state of a session, for a pool that lends a server for one transaction
    /// and refuses what such a server would keep.
    ConnectionOptions withoutSession() const;

    /// A statement that gives the state of a session to one transaction.
    const QByteArray& transactionSettings() const { return settings; }

private:
    struct Option
    {
        QByteArray keyword;
        QByteArray value;
    };

    const QByteArray* find(const QByteArray& keyword) const;
    void setDefault(const QByteArray& keyword, const QByteArray& value);

    std::vector<Option> options;
    QByteArray settings;
};

} // namespace sync::fleet
