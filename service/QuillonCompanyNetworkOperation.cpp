#include "QuillonCompanyNetworkOperation.h"

#include "model/Company.h"

#include <utility>

namespace service {

bool QuillonCompanyNetworkOperation::parseWithTarget(QByteArray body)
{
    // A document that cannot be read leaves the account unchanged; it is still reported as known.
    if (store::Context* context = managedObjectContext())
        static_cast<void>(model::Company::buildCompanyWithSubdomain(credentials().url, std::move(body), *context));
    tellDelegate([subdomain = credentials().url](OutcomeReceiver& delegate) { delegate.gotQuillonCompany(subdomain); });
    return true;
}

} // namespace service
