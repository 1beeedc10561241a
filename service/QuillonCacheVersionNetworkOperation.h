#pragma once

#include "service/QuillonNetworkOperation.h"

namespace service {

/// Asks for the version of the account's data, which counts only when the reply is well-formed XML.
class QuillonCacheVersionNetworkOperation final : public QuillonNetworkOperation
{
public:
    using QuillonNetworkOperation::QuillonNetworkOperation;

protected:
    void processResponse(const HttpReply& response) override;
    bool parseWithTarget(QByteArray body) override;

private:
    std::optional<qint64> m_newCacheVersion;
};

} // namespace service
