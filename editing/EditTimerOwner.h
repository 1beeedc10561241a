#pragma once

#include <QWidget>

namespace editing {

/// What the edit sheet needs from the window whose entries it edits.
class EditTimerOwner
{
public:
    /// The window that the sheet opens in.
    virtual QWidget& editTimerWindow() = 0;
    /// The part of the window that the sheet hangs below; null: its top edge.
    virtual QWidget* editTimerTopEdge() { return nullptr; }
    /// Children of the window that stay usable while the sheet is open.
    virtual QWidgetList partsUsableWhileEditing() { return {}; }
    /// The sheet has closed: the entry was saved, or nothing was.
    virtual void dismissEditTimer() = 0;
    /// What was saved last has not reached the service: the entry is again what it was before.
    virtual void editTimerFailed() {}

protected:
    ~EditTimerOwner() = default;
};

} // namespace editing
