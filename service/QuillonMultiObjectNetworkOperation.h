#pragma once

#include "service/QuillonNetworkOperation.h"

#include <QStringList>

namespace service {

/// Requests one object after another, each at the path with "/" and its id.
///
/// Only `makeRequest` does; `main` sends one request without an id.
class QuillonMultiObjectNetworkOperation : public QuillonNetworkOperation
{
public:
    QuillonMultiObjectNetworkOperation(const QString& url, const QStringList& ids, model::XmlImport objectType,
                                       const settings::QuillonPreferences& usingCredentials,
                                       const OperationServices& services);

protected:
    /// Ends with the success call, even after bad credentials.
    void makeRequest() override;

private:
    const QString m_path;
    const QStringList m_multipleIDs;
};

} // namespace service
