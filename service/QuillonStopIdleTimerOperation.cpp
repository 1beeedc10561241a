#include "QuillonStopIdleTimerOperation.h"

#include "model/DayEntry.h"

#include <QCoreApplication>

namespace service {

using namespace Qt::StringLiterals;

QuillonStopIdleTimerOperation::QuillonStopIdleTimerOperation(model::DayEntry& entry, const QDateTime& andUpdatedAt,
                                                             const settings::QuillonPreferences& usingCredentials,
                                                             const OperationServices& services)
    : QuillonNetworkOperation("/hc/day_entry/"_L1 + entry.idString(), entry.toSyncXml(andUpdatedAt),
                              &model::DayEntry::parseXml, usingCredentials, services)
{
}

void QuillonStopIdleTimerOperation::processResponse(const HttpReply& response)
{
    if (response.status != 409 && response.status != 410)
        return;
    tellFailure(Error{QuillonErrorDomain,
                      409,
                      QCoreApplication::translate("QuillonStopIdleTimerOperation",
                                                  "The entry was updated while Quillon for Mac was idle. It looks like "
                                                  "your idle time does not need to be removed after all."),
                      {}});
}

} // namespace service
