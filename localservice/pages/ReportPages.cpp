#include "Site.h"

namespace localservice {

void addReportPages(Site& site)
{
    static_cast<void>(site);
}

} // namespace localservice
