#pragma once

#include "editing/TextFields.h"

#include <QMenu>

namespace editing {

/// The pull-down menu of a picker: items in groups, each below its header, the chosen one checked.
///
/// Long titles are elided and have a tool tip.
class PickerMenu final : public QMenu
{
    Q_OBJECT
public:
    explicit PickerMenu(Look look, QWidget* parent);

    void addHeader(const QString& title);
    QAction* addItem(const QString& title, qint64 tag);
};

} // namespace editing
