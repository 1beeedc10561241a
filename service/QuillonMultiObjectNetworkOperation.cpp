#include "QuillonMultiObjectNetworkOperation.h"

#include <utility>

namespace service {

QuillonMultiObjectNetworkOperation::QuillonMultiObjectNetworkOperation(
    const QString& url, const QStringList& ids, model::XmlImport objectType,
    const settings::QuillonPreferences& usingCredentials, const OperationServices& services)
    : QuillonNetworkOperation(url, objectType, usingCredentials, services), m_path(url), m_multipleIDs(ids)
{
}

void QuillonMultiObjectNetworkOperation::makeRequest()
{
    bool isFirst = true;
    for (const QString& id : m_multipleIDs) {
        if (!isFirst)
            waitForThrottle();
        isFirst = false;
        if (isStopped())
            return;
        const HttpRequest sent = request(m_path + u'/' + id, std::nullopt);
        HttpReply reply = doRequest(sent);
        if (!retryIfUnavailable(sent, reply))
            return;
        if (!isForAccountInUse())
            break;
        processResponse(reply);
        if (reply.body == QuillonAuthenticationFailed) {
            tellDelegate(&OutcomeReceiver::authenticationFailed);
            break;
        }
        tellDelegate(&OutcomeReceiver::authenticationSucceeded);
        parseIntoCompany(std::move(reply.body));
    }
    tellSuccess();
}

} // namespace service
