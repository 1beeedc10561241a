#pragma once

#include "app/EmbeddedService.h"

#include <localservice/Service.h>

#include <optional>

/// The service that comes with the program, on a free port of this machine's loopback, with its data beside the
/// program's own.
class LocalService final : public app::EmbeddedService
{
public:
    tl::expected<Account, QString> start(const QString& password) override;

private:
    std::optional<localservice::Service> m_service;
};
