#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>
#include <QString>
#include <QVector>

namespace sync::config {
class AuthenticationConfiguration;
}

namespace sync::interf {

/// Reads and writes the stored sign-ins.
///
/// A lookup that finds nothing or fails returns a record with id -1.
class VELMIO_INTERFACES_EXPORT IAuthenticationConfigManager : public QObject
{
    Q_OBJECT

public:
    explicit IAuthenticationConfigManager(QObject* parent = nullptr);
    ~IAuthenticationConfigManager() override;

    virtual config::AuthenticationConfiguration GetAuthenticationConfigurationByDomainAndUser(
        QString domain, QString userName) const = 0;
    virtual config::AuthenticationConfiguration GetAuthenticationConfigurationById(
        int id) const = 0;
    virtual QVector<config::AuthenticationConfiguration> GetAll() const = 0;
    virtual bool Update(config::AuthenticationConfiguration signIn) = 0;
    virtual bool Add(config::AuthenticationConfiguration& signIn) = 0;
    virtual bool Remove(int id) = 0;
    virtual QVector<config::AuthenticationConfiguration>
    GetDistinctAuthenticationConfigurations() = 0;
    virtual int UpdatePassword(QString domain, QString userName, QString password) = 0;
};

} // namespace sync::interf
