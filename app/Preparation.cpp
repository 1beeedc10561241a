#include "app/Preparation.h"

#include "app/WrenfoldMenulet.h"
#include "service/QuillonApi.h"
#include "settings/QuillonPreferences.h"

namespace app {

using settings::QuillonPreferences;

namespace {

bool isSignedIn()
{
    QuillonPreferences::setupDefaults();
    return !QuillonPreferences::sharedPreferences().credentials().url.isEmpty();
}

} // namespace

Preparation::Preparation(bool keepsTimeHere)
    : m_when(keepsTimeHere                 ? When::Never
             : WrenfoldMenulet::hasStore() ? When::Late
                                           : When::Early)
{
}

void Preparation::beforeApplication() const
{
    if (m_when == When::Early && isSignedIn())
        QuillonPreferences::sharedPreferences().expectPassword();
}

void Preparation::beforeFace() const
{
    if (m_when == When::Early && isSignedIn())
        service::QuillonApi::sharedApi().prepare();
}

void Preparation::afterFace() const
{
    if (m_when != When::Late || !isSignedIn())
        return;
    QuillonPreferences::sharedPreferences().expectPassword();
    service::QuillonApi::sharedApi().prepare();
}

} // namespace app
