#pragma once

#include <QStringList>
#include <QTemporaryDir>

/// A certificate that vouches for itself and its key, made by the openssl program in a folder of its own.
class Certificate
{
public:
    /// For hosts of the form "DNS:acme.localhost". The key has a passphrase if one is given.
    explicit Certificate(const QStringList& hosts = {QStringLiteral("DNS:acme.localhost"),
                                                     QStringLiteral("DNS:clock.localhost")},
                         const QString& passphrase = {});

    /// From now on it has been out of date since yesterday.
    void expire() const;
    QString file() const { return m_folder.filePath(QStringLiteral("certificate.pem")); }
    QString key() const { return m_folder.filePath(QStringLiteral("key.pem")); }
    /// Takes the place of another in its files, as a renewal does.
    void replace(const Certificate& other) const;

private:
    QTemporaryDir m_folder;
};
