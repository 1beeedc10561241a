#include "QuillonCompanyNetworkOperation.h"

#include "model/Company.h"

namespace service {

bool QuillonCompanyNetworkOperation::parseWithTarget(const QByteArray& body)
{
    // What cannot be read leaves the account as it was; it is told as known all the same.
    if (store::Context* context = managedObjectContext())
        static_cast<void>(model::Company::buildCompanyWithSubdomain(credentials().url, body, *context));
    tellDelegate([subdomain = credentials().url](OutcomeReceiver& delegate) { delegate.gotQuillonCompany(subdomain); });
    return true;
}

} // namespace service
