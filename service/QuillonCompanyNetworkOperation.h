#pragma once

#include "service/QuillonNetworkOperation.h"

namespace service {

/// Looks up the account, stores it and reports it by `gotQuillonCompany`.
class QuillonCompanyNetworkOperation final : public QuillonNetworkOperation
{
public:
    using QuillonNetworkOperation::QuillonNetworkOperation;

protected:
    bool parseWithTarget(QByteArray body) override;
};

} // namespace service
