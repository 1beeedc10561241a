#include "Site.h"

namespace localservice {

void addPeoplePages(Site& site)
{
    static_cast<void>(site);
}

} // namespace localservice
