#include "ViewCarrier.h"

namespace platform {

ViewCarrier::ViewCarrier(QWidget& view, Qt::WindowFlags flags)
    : QWidget(nullptr, flags | Qt::Tool | Qt::FramelessWindowHint), m_view(&view)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    // It is never the active window, and only active windows get tool tips.
    setAttribute(Qt::WA_AlwaysShowToolTips);
    setWindowTitle(QStringLiteral("Quillon"));
    view.setParent(this);
}

ViewCarrier::~ViewCarrier()
{
    // Owned elsewhere.
    if (m_view)
        m_view->setParent(nullptr);
}

void ViewCarrier::setContent(const ItemContent& content)
{
    setEnabled(content.enabled);
    setToolTip(content.toolTip);
    setAccessibleName(content.description.spoken);
    setAccessibleDescription(content.description.hours);
    if (m_view)
        setLength(content.length > 0 ? content.length : m_view->width());
}

} // namespace platform
