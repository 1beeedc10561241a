#pragma once

#include <QWidget>

#include <array>

namespace timesheet {

class TitleStrip;

/// A window that can draw its own frame: a title strip above its content, a hairline around it, and edges that resize
/// it.
///
/// With its own frame its upper corners are round where the screen is composited, and cut by a mask elsewhere; checked
/// whenever the window is shown. Menus and popups opened in it close when it is hidden.
class StripWindow : public QWidget
{
    Q_OBJECT
public:
    explicit StripWindow(QWidget* parent = nullptr);

    /// False by default: the desktop draws the frame. Set only while the window is hidden.
    void setOwnFrame(bool own);

    TitleStrip& titleStrip() const { return *m_strip; }
    /// The window without its strip: the parent of its content.
    QWidget& contentView() const { return *m_contentView; }
    /// What moves and resizes the window.
    QWidgetList frameParts() const;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    class Edge;

    void placeEdges();
    void updateMask();

    TitleStrip* m_strip;
    QWidget* m_contentView;
    bool m_ownFrame = false;
    bool m_composited = true;
    std::array<Edge*, 4> m_edges;
};

} // namespace timesheet
