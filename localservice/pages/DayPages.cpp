#include "Site.h"

namespace localservice {

void addDayPages(Site& site)
{
    static_cast<void>(site);
}

} // namespace localservice
