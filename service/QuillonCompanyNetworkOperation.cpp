#include "QuillonCompanyNetworkOperation.h"

#include "model/Company.h"

#include <utility>

namespace service {

bool QuillonCompanyNetworkOperation::parseWithTarget(QByteArray body)
{
    // What cannot be read leaves the account as it was; it is reported as known all the same.
    if (store::Context* context = managedObjectContext())
        static_cast<void>(model::Company::buildCompanyWithSubdomain(credentials().url, std::move(body), *context));
    tellDelegate([subdomain = credentials().url](OutcomeReceiver& delegate) { delegate.gotQuillonCompany(subdomain); });
    return true;
}

} // namespace service
