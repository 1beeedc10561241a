#include "RecordingReceiver.h"

#include "store/Context.h"

namespace support {

using namespace Qt::StringLiterals;

QStringList RecordingReceiver::calls() const
{
    QStringList calls = m_calls;
    calls.removeAll(u"mergeRequired"_s);
    calls.removeAll(u"allRequestsProcessed"_s);
    return calls;
}

void RecordingReceiver::gotQuillonCompanyCacheVersion(qint64 version)
{
    noteCall(u"gotQuillonCompanyCacheVersion %1"_s.arg(version));
}

void RecordingReceiver::gotQuillonCompany(const QString& subdomain)
{
    noteCall("gotQuillonCompany "_L1 + subdomain);
}

void RecordingReceiver::mergeRequired(std::shared_ptr<const store::ChangeSet> changes)
{
    if (m_mainContext)
        m_mainContext->mergeChanges(*changes);
    note("mergeRequired");
}

void RecordingReceiver::note(const char* name)
{
    noteCall(QString::fromLatin1(name));
}

void RecordingReceiver::note(const char* name, const std::optional<service::Error>& error)
{
    const QString what = error ? u"%1 %2 %3"_s.arg(error->domain).arg(error->code).arg(error->localizedDescription)
                               : u"without an error"_s;
    noteCall(QString::fromLatin1(name) + u' ' + what);
}

void RecordingReceiver::noteCall(const QString& call)
{
    m_calls << call;
    if (whenCalled)
        whenCalled(call);
}

} // namespace support
