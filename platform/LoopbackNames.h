#pragma once

#include <QString>

namespace platform {

/// Whether a host name means this machine: localhost and everything below it (RFC 6761, 6.3), 127.0.0.0/8 and ::1.
bool isLoopbackName(const QString& host);

} // namespace platform
