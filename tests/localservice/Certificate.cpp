#include "Certificate.h"

#include <QFile>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

void openssl(const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(u"openssl"_s, arguments);
    if (!process.waitForFinished() || process.exitCode() != 0)
        qFatal("openssl: %s", process.readAll().constData());
}

} // namespace

Certificate::Certificate(const QStringList& hosts, const QString& passphrase)
{
    openssl(QStringList{u"req"_s, u"-x509"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:prime256v1"_s,
                        u"-keyout"_s, key(), u"-out"_s, file(), u"-subj"_s, u"/CN=test"_s, u"-addext"_s,
                        u"subjectAltName="_s + hosts.join(u',')} +
            (passphrase.isEmpty() ? QStringList{u"-nodes"_s} : QStringList{u"-passout"_s, u"pass:"_s + passphrase}));
}

void Certificate::expire() const
{
    openssl({u"x509"_s, u"-in"_s, file(), u"-signkey"_s, key(), u"-days"_s, u"0"_s, u"-out"_s, file()});
}

void Certificate::replace(const Certificate& other) const
{
    for (const auto& [from, to] : {std::pair{file(), other.file()}, {key(), other.key()}}) {
        QFile::remove(to);
        QFile::copy(from, to);
    }
}
