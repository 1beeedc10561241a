#include "LocalService.h"

#include "app/WrenfoldMenulet.h"

#include <localservice/Database.h>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* Account = "local";

tl::unexpected<QString> failed(const std::string& reason)
{
    return tl::unexpected(QString::fromStdString(reason));
}

} // namespace

tl::expected<app::EmbeddedService::Account, QString> LocalService::start(const QString& password)
{
    const QString folder = app::WrenfoldMenulet::directoryForDataStore();
    if (folder.isEmpty())
        return tl::unexpected(QObject::tr("There is no folder to keep your time in."));

    localservice::Service::Options options;
    options.dataFile = (folder + u"/LocalService.sqlite"_s).toStdString();
    options.ownerPassword = password.toStdString();
    m_service.emplace(std::move(options));
    const auto database = m_service->database();
    if (!database)
        return failed(database.error());
    const auto sample = (*database)->ensureSampleAccount("you@localhost", ::Account, localservice::FirstPassword::None);
    if (!sample)
        return failed(sample.error());
    const auto port = m_service->start();
    if (!port)
        return failed(port.error());
    return EmbeddedService::Account{QString::fromLatin1(::Account), u".localhost:%1"_s.arg(*port),
                                    QString::fromStdString(sample->email)};
}
