#include "ServiceRun.h"

#include "model/Company.h"
#include "model/DataModel.h"
#include "model/DayEntry.h"
#include "model/User.h"
#include "platform/InfoDictionary.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "store/Coordinator.h"

#include <QTest>

namespace support {

using namespace Qt::StringLiterals;

namespace {

std::shared_ptr<store::Coordinator> storeIn(const TestEnvironment& environment)
{
    auto coordinator = std::make_shared<store::Coordinator>(model::loadModel(), model::objectFactories());
    // Without a store nothing is saved, and no test that waits for a merge passes.
    static_cast<void>(coordinator->addStore(environment.folders.path(u"QuillonX.sqlite"_s)));
    return coordinator;
}

service::QuillonApi& signedIn(TestEnvironment& environment, const ScriptedPeer& peer)
{
    environment.information.set("QuillonLocalDebug"_L1, true);
    environment.information.set("QuillonDevelopmentDomain"_L1, u".localhost:%1"_s.arg(peer.port()));
    environment.information.set("CFBundleVersion"_L1, u"4.2"_s);

    settings::QuillonPreferences::setupDefaults();
    settings::UserDefaults& defaults = settings::UserDefaults::standardUserDefaults();
    defaults.setString(settings::SCQuillonUrlKey, u"acme"_s);
    defaults.setString(settings::SCEmailKey, u"ann@example.com"_s);
    environment.secrets.items[{settings::SCServiceName(), u"ann@example.com"_s}] = "sesame";
    return service::QuillonApi::sharedApi();
}

} // namespace

ServiceRun::ServiceRun()
    : environment(m_run.environment), time(m_run.time), m_coordinator(storeIn(environment)),
      context(m_coordinator, store::MergePolicy::Overwrite), outcomes(&context), api(signedIn(environment, peer))
{
    model::Host::set(this);
    api.setDelegate(&outcomes);
}

ServiceRun::~ServiceRun()
{
    api.stop();
    model::Host::set(nullptr);
}

model::User* ServiceRun::currentUserInContext(store::Context& asked)
{
    model::Company* company = model::Company::findBySubdomain(u"acme"_s, asked);
    return company ? model::User::findByEmail(u"ann@example.com"_s, *company, asked) : nullptr;
}

bool ServiceRun::finish()
{
    return QTest::qWaitFor([this] { return api.operationCount() == 0; }, 30'000);
}

model::DayEntry& ServiceRun::entry(const QString& idString)
{
    model::Company* company = api.company();
    auto& entry = company->findOrCreateById<model::DayEntry>(idString, context);
    static_cast<void>(context.save());
    return entry;
}

} // namespace support
