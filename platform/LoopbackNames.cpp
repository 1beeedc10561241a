#include "LoopbackNames.h"

#include <QByteArray>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace platform {

using namespace Qt::StringLiterals;

bool isLoopbackName(const QString& host)
{
    QString name = host.toLower();
    if (name.startsWith(u'[') && name.endsWith(u']'))
        name = name.sliced(1, name.size() - 2);
    const QByteArray text = name.toLatin1();
    if (in_addr v4{}; inet_pton(AF_INET, text.constData(), &v4) == 1)
        return ntohl(v4.s_addr) >> 24 == 127;
    if (in6_addr v6{}; inet_pton(AF_INET6, text.constData(), &v6) == 1)
        return IN6_IS_ADDR_LOOPBACK(&v6);
    if (name.endsWith(u'.'))
        name.chop(1);
    return name == "localhost"_L1 || name.endsWith(".localhost"_L1);
}

} // namespace platform
