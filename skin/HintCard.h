#pragma once

#include <QStringList>
#include <QWidget>

#include <functional>
#include <optional>

class QLabel;

namespace skin {

class LinkButton;
class QuillonButtonCell;

/// What is said once to a person who is new.
struct Hint
{
    QString title;
    QStringList lines;
    QString aside;                ///< said more quietly, before the link
    QString link;                 ///< null: none
    std::function<void()> onLink; ///< either call may take the hint away
    std::function<void()> onButton;
};

/// A hint on its own quiet ground, with a button that puts it away. Assistive technology says it when it is shown.
/// Never takes the focus by itself.
class HintCard final : public QWidget
{
    Q_OBJECT
public:
    explicit HintCard(QWidget* parent = nullptr);

    void setHint(const Hint& hint);

    QSize sizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

    static QColor ground() { return {0xf4, 0xf8, 0xfc}; }

protected:
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool isAlone() const; ///< in a window of its own, which draws the ground
    /// Lays the parts out, if `move`, and answers the height.
    int layOut(int width, bool move) const;

    Hint m_hint;
    QLabel* m_title;
    QLabel* m_text;
    QLabel* m_aside;
    LinkButton* m_link;
    QuillonButtonCell* m_button;
};

} // namespace skin
