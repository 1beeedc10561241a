#include "QuillonCacheVersionNetworkOperation.h"

#include "model/Xml.h"

namespace service {

void QuillonCacheVersionNetworkOperation::processResponse(const HttpReply& response)
{
    m_newCacheVersion = cacheVersion(response);
}

bool QuillonCacheVersionNetworkOperation::parseWithTarget(QByteArray body)
{
    if (!model::xml::Document::parse(body))
        return false;
    if (m_newCacheVersion) {
        tellDelegate([version = *m_newCacheVersion](OutcomeReceiver& delegate) {
            delegate.gotQuillonCompanyCacheVersion(version);
        });
    }
    return true;
}

} // namespace service
