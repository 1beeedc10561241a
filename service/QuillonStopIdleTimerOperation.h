#pragma once

#include "service/QuillonNetworkOperation.h"

#include <QDateTime>

namespace model {
class DayEntry;
}

namespace service {

/// Sends an entry that was corrected for idle time. The service refuses it (409, 410) when the entry was changed after
/// `andUpdatedAt`; that is reported as a failure before the success.
class QuillonStopIdleTimerOperation final : public QuillonNetworkOperation
{
public:
    QuillonStopIdleTimerOperation(model::DayEntry& entry, const QDateTime& andUpdatedAt,
                                  const settings::QuillonPreferences& usingCredentials,
                                  const OperationServices& services);

protected:
    void processResponse(const HttpReply& response) override;
};

} // namespace service
