#include "LoopbackService.h"

#include <localservice/Database.h>

#include <QDateTime>
#include <QFileInfo>
#include <QLocale>
#include <QSettings>

using namespace Qt::StringLiterals;
using localservice::FirstPassword;

namespace {

constexpr const char* Account = "local";

/// The port of the last run. If it is free again, pages still open in a browser keep working.
constexpr auto PortKey = "OwnService/port"_L1;
constexpr uint LowestFreePort = 1024;

tl::unexpected<QString> failed(const std::string& reason)
{
    return tl::unexpected(QString::fromStdString(reason));
}

} // namespace

tl::expected<app::BuiltInService::Account, QString> LoopbackService::start(const QString& password, FileTrouble trouble)
{
    const QString& folder = m_surroundings.dataFolder;
    if (folder.isEmpty())
        return tl::unexpected(QObject::tr("There is no folder to keep your time in."));

    QSettings state(m_surroundings.configFolder + "/State.conf"_L1, QSettings::IniFormat);
    const uint lastPort = state.value(PortKey).toUInt();
    localservice::Service::Options options;
    options.dataFile = (folder + u"/LocalService.sqlite"_s).toStdString();
    options.ownerPassword = password.toStdString();
    options.tellTrouble = [trouble = std::move(trouble), file = options.dataFile](const std::string& sentence) {
        trouble(QString::fromStdString(sentence.empty() ? sentence : sentence + " The file is " + file + "."));
    };
    options.tellBackupTrouble = [complain = m_surroundings.complain](const std::string& sentence) {
        if (!sentence.empty())
            complain(QString::fromStdString(sentence));
    };
    if (lastPort >= LowestFreePort && lastPort <= std::numeric_limits<quint16>::max())
        options.port = static_cast<quint16>(lastPort);
    m_service.emplace(options);
    const auto database = m_service->database();
    if (!database)
        return failed(database.error());
    const auto sample = (*database)->ensureSampleAccount("you@localhost", ::Account, FirstPassword::None);
    if (!sample)
        return failed(sample.error());
    auto port = m_service->start();
    if (!port && options.port != 0) {
        options.port = 0;
        m_service.emplace(options);
        port = m_service->start();
    }
    if (!port)
        return failed(port.error());
    if (*port != lastPort)
        state.setValue(PortKey, *port);
    m_email = sample->email;
    return BuiltInService::Account{QString::fromStdString(m_service->url(::Account)), QString::fromStdString(m_email)};
}

QUrl LoopbackService::signedInLink(const QUrl& page)
{
    const QString target = page.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::FullyEncoded);
    // The owner may have got another email address in the pages since the start.
    const auto database = m_service->database();
    const auto owner = database ? (*database)->ensureSampleAccount(m_email, ::Account, FirstPassword::None)
                                : tl::unexpected(database.error());
    const std::string email = owner ? owner->email : m_email;
    return QUrl(QString::fromStdString(m_service->signInLink(::Account, email, target.toStdString())));
}

QString LoopbackService::copiesInWords() const
{
    const auto state = m_service->backups();
    if (state.problem)
        return QString::fromStdString(*state.problem);
    if (!state.latest)
        return QObject::tr("A copy is made every day.");
    const QLocale locale;
    return QObject::tr("Copied daily to %1. Last copy: %2, %3")
        .arg(QFileInfo(QString::fromStdString(state.folder)).fileName(),
             locale.toString(QDateTime::fromSecsSinceEpoch(state.latest->made), QLocale::ShortFormat),
             locale.formattedDataSize(static_cast<qint64>(state.latest->size), 1, QLocale::DataSizeSIFormat));
}

extern "C" [[gnu::visibility("default")]] app::BuiltInService*
quillonMakeBuiltInService(const app::BuiltInService::Surroundings& surroundings)
{
    return new LoopbackService(surroundings);
}
