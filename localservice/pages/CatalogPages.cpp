#include "Site.h"

namespace localservice {

void addCatalogPages(Site& site)
{
    static_cast<void>(site);
}

} // namespace localservice
