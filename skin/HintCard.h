#pragma once

#include <QLayout>
#include <QStringList>
#include <QWidget>

#include <functional>
#include <optional>

class QLabel;

namespace skin {

class LinkButton;
class QuillonButtonCell;

/// A hint to a new user, or a question.
struct Hint
{
    QString title;
    QStringList lines;
    QString aside;                ///< in a quieter colour, before the link
    QString link;                 ///< null: none
    std::function<void()> onLink; ///< each call may remove the hint
    QString button;               ///< null: "Got It"
    std::function<void()> onButton;
    QString otherButton; ///< null: none
    std::function<void()> onOtherButton;
};

/// A hint on a quiet background of its own, with a button that dismisses it, or with the two answers to a question.
/// Assistive technology reads it out when it is shown. Never takes the focus by itself.
class HintCard final : public QWidget
{
    Q_OBJECT
public:
    /// A `parent` that is a window draws the background.
    explicit HintCard(QWidget* parent);

    void setHint(const Hint& hint);

    QSize sizeHint() const override;
    int heightForWidth(int width) const override { return layout()->totalHeightForWidth(width); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Hint m_hint;
    QLabel* m_title;
    QLabel* m_text;
    QLabel* m_aside;
    LinkButton* m_link;
    QuillonButtonCell* m_otherButton;
    QuillonButtonCell* m_button;
};

} // namespace skin
