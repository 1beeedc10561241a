#pragma once

#include "app/BuiltInService.h"

#include <localservice/Service.h>

#include <optional>

/// The built-in service on this machine's loopback, with its data beside the program's own. It takes the
/// port of the last run (`OwnService/port`, as it was first called, in `Quillon/State.conf` in the person's
/// configuration folder), or a free one where that is taken.
///
/// It is a module of its own, with the libraries that nothing else of the program needs: a start without it need not
/// load them.
class LoopbackService final : public app::BuiltInService
{
public:
    explicit LoopbackService(const Surroundings& surroundings) : m_surroundings(surroundings) {}
    tl::expected<Account, QString> start(const QString& password, FileTrouble trouble) override;
    QUrl signedInLink(const QUrl& page) override;
    QString copiesInWords() const override;

private:
    const Surroundings m_surroundings;
    std::optional<localservice::Service> m_service;
    std::string m_email;
};
