#include "ControlSheet.h"

#include "support/TestEnvironment.h"

#include "skin/AboutController.h"
#include "skin/Backgrounds.h"
#include "skin/ColorHex.h"
#include "skin/Fonts.h"
#include "skin/Geometrics.h"
#include "skin/HUDBorderlessWindow.h"
#include "skin/ImageButton.h"
#include "skin/LinkButton.h"
#include "skin/Parts.h"
#include "skin/QuillonBigLoadingButton.h"
#include "skin/QuillonHoursTextField.h"
#include "skin/QuillonTextFieldBackground.h"
#include "skin/QuillonTextFieldCell.h"
#include "skin/Spinner.h"

#include <QApplication>
#include <QDialog>
#include <QFocusEvent>
#include <QLineEdit>
#include <QPainter>

#include <functional>

using namespace skin;
using namespace Qt::StringLiterals;

namespace {

enum class State
{
    Normal,
    Hovered,
    Pressed,
    Focused,
    Disabled
};

constexpr State allStates[] = {State::Normal, State::Hovered, State::Pressed, State::Focused, State::Disabled};

void put(QWidget& control, State state)
{
    control.setAttribute(Qt::WA_UnderMouse, state == State::Hovered);
    control.setEnabled(state != State::Disabled);
    if (auto* button = qobject_cast<QAbstractButton*>(&control))
        button->setDown(state == State::Pressed);
    if (state == State::Focused) {
        QFocusEvent event(QEvent::FocusIn, Qt::TabFocusReason);
        QApplication::sendEvent(&control, &event);
    }
}

/// One of each state beside each other; returns the point below the first.
QPoint row(QPoint at, const std::function<QWidget*()>& make, int step)
{
    int height = 0;
    for (const State state : allStates) {
        QWidget* control = make();
        control->setGeometry(
            QRect(at, control->sizeHint().expandedTo(control->size().width() < 90 ? control->size() : QSize())));
        control->show();
        put(*control, state);
        height = control->height();
        at.rx() += step;
    }
    return {at.x() - 5 * step, at.y() + height};
}

QLineEdit* plainField(QWidget& frame, const QString& text, const QColor& color)
{
    auto* field = new QLineEdit(text, &frame);
    field->setFrame(false);
    field->setFont(interfaceFont(12));
    QPalette colors = field->palette();
    colors.setColor(QPalette::Base, Qt::transparent);
    colors.setColor(QPalette::Text, color);
    field->setPalette(colors);
    field->setGeometry(frame.rect().adjusted(5, 2, -5, -3));
    return field;
}

/// Fields that glow do so while something in them has the focus; the sheet is no active window.
void glow(QWidget& control)
{
    emit qApp->focusChanged(nullptr, control.findChild<QLineEdit*>());
}

void lightControls(QWidget& panel)
{
    QPoint at(16, 60);
    for (const QString& title : {u"Save"_s, u"Cancel"_s}) {
        at = row(
                 at, [&] { return new QuillonButtonCell(title, &panel); }, 92) +
             QPoint(0, 12);
    }
    at = row(
             at, [&] { return new QuillonBigLoadingButton(u"Start"_s, &panel); }, 112) +
         QPoint(0, 12);
    auto* big = new QuillonBigLoadingButton(u"Start a new timer (Ctrl+Alt+N)"_s, &panel);
    big->setGeometry(QRect(at, big->sizeHint()));
    auto* loading = new QuillonBigLoadingButton(u"Start a new timer"_s, &panel);
    loading->setGeometry(QRect(at + QPoint(big->width() + 12, 0), loading->sizeHint()));
    loading->setLoading(true);
    at.ry() += 47;

    int x = at.x();
    for (const bool focused : {false, true}) {
        auto* frame = new QuillonTextFieldBackground(&panel);
        frame->setUseHUDBackground(false);
        frame->setGeometry(x, at.y(), 150, 27);
        plainField(*frame, u"Website relaunch"_s, u"#212121"_s);
        if (focused)
            glow(*frame);
        x += 166;
    }
    for (const bool active : {false, true}) {
        auto* hours = new QuillonHoursBackgroundView(&panel);
        hours->setActive(active);
        hours->setGeometry(x, at.y(), 60, 27);
        auto* field = new QuillonHoursTextField(u"1:05"_s, hours);
        field->setFrame(false);
        field->setFont(interfaceFont(12));
        field->setStyleSheet(u"background: transparent; color: #444444"_s);
        field->setGeometry(hours->rect().adjusted(5, 2, -5, -3));
        x += 72;
    }
    at.ry() += 42;

    const std::vector<std::pair<const char*, const char*>> pictures{{"tw-icn-start.png", "tw-icn-start-active.png"},
                                                                    {"tw-back.png", "tw-back-active.png"},
                                                                    {"tw-forward.png", "tw-forward-active.png"},
                                                                    {"tw-today.png", "tw-today-active.png"},
                                                                    {"tw-edit-hours.png", "tw-edit-hours-active.png"},
                                                                    {"tw-add-one.png", "tw-add-one-active.png"},
                                                                    {"tw-arrow.png", "tw-arrow-active.png"}};
    QPoint corner = at;
    for (const auto& [normal, alternate] : pictures) {
        row(
            corner, [&] { return new ImageButton(imageNamed(normal), imageNamed(alternate), &panel); }, 34);
        corner.rx() += 180;
        if (corner.x() > 400)
            corner = QPoint(at.x(), corner.y() + 36);
    }
    at.setY(corner.y() + 36);
    row(
        at, [&] { return new LinkButton(u"Privacy Policy"_s, &panel); }, 100);
    at.ry() += 28;

    auto* elided = new QuillonTextFieldCell(&panel);
    elided->setText(u"A client whose name is rather long, and longer"_s);
    elided->setTextColor(u"#666666"_s);
    elided->setBackgroundStyle(QuillonTextFieldCell::BackgroundStyle::Raised);
    elided->setGeometry(at.x(), at.y(), 160, 16);
    auto* spinner = new Spinner(Spinner::Look::Dark, &panel);
    spinner->setGeometry(at.x() + 200, at.y(), 16, 16);
    spinner->startAnimation();
    auto* large = new Spinner(Spinner::Look::Dark, &panel);
    large->setGeometry(at.x() + 230, at.y() - 8, 32, 32);
    large->startAnimation();

    auto* bar = new BottomBarView(&panel);
    bar->setGeometry(0, panel.height() - 34, panel.width(), 34);
}

/// The light window: header, footer, and what is painted by hand.
class LightPanel final : public QWidget
{
public:
    LightPanel()
    {
        setFixedSize(580, 540);
        QPalette colors = palette();
        colors.setColor(QPalette::Window, QColor(0xee, 0xee, 0xee));
        setPalette(colors);
        lightControls(*this);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        const Image header = imageNamed("tw-bg-header.png");
        drawThreePartImage(painter, QRectF(0, 0, width(), 44), header, header, header);
        painter.setPen(colorFromHexRGB(u"333333"_s));
        painter.setFont(interfaceFont(14, QFont::Bold));
        painter.drawText(QRect(0, 0, width(), 44), Qt::AlignCenter, u"Tuesday, March 3, 2026"_s);
        const double y = 452;
        const TextLines notes(
            u"Reworked the invoice import so that the totals agree with the ledger, then wrote to the "
            "client about the two rows that still differ. 🎉 Ça va? שלום עולם e\u0301\n\u0007two\tlines"_s,
            interfaceFont(11), 300);
        painter.setPen(colorFromHexRGB(u"666666"_s));
        notes.draw(painter, {220, y - 4});
        int x = 16;
        for (const char* name :
             {"tw-icn-stop-active.png", "tw-icn-lock.png", "tw-offline.png", "tw-checkbox.png", "tw-checkbox-on.png"}) {
            imageNamed(name).drawAtPoint(painter, QPointF(x, y));
            x += 36;
        }
    }
};

class DarkPanel final : public HUDBorderlessWindow
{
public:
    DarkPanel()
    {
        setFixedSize(320, 330);
        auto* view = new HUDBorderlessView(this);
        view->setGeometry(rect());
        auto* title = new QuillonTextFieldCell(this);
        title->setText(u"New Timer"_s);
        title->setFont(interfaceFont(12, QFont::DemiBold));
        title->setTextColor(Qt::white);
        title->setAlignment(Qt::AlignCenter);
        title->setGeometry(0, 1, 320, 28);

        int y = 44;
        for (const auto& [text, error, focused] :
             {std::tuple(u"Website relaunch"_s, false, false), std::tuple(u"Website relaunch"_s, false, true),
              std::tuple(u"Choose Task"_s, true, false)}) {
            auto* frame = new QuillonTextFieldBackground(this);
            frame->setError(error);
            frame->setGeometry(14, y, 292, 27);
            plainField(*frame, text, error ? QColor(255, 255, 255, 120) : QColor(Qt::white));
            if (focused)
                glow(*frame);
            y += 36;
        }
        QPoint at(14, y + 4);
        for (const QString& button : {u"Start"_s, u"Cancel"_s}) {
            int column = 0;
            for (const State state : allStates) {
                auto* made = new QuillonHUDButtonCell(button, this);
                const QPoint place = at + QPoint(column % 3 * 100, column / 3 * 34);
                made->setGeometry(QRect(place, made->sizeHint()));
                put(*made, state);
                ++column;
            }
            at.ry() += 68;
        }
        row(
            at, [&] { return new ImageButton(imageNamed("hud-arrow.png"), imageNamed("hud-arrow-active.png"), this); },
            24);
        auto* spinner = new Spinner(Spinner::Look::Light, this);
        spinner->setGeometry(220, at.y(), 16, 16);
        spinner->startAnimation();
        m_signs = {140.0, double(at.y())};
        auto* signs = new Signs(view);
        signs->setGeometry(140, at.y(), 60, 20);
    }

private:
    struct Signs final : QWidget
    {
        using QWidget::QWidget;
        void paintEvent(QPaintEvent*) override
        {
            QPainter painter(this);
            imageNamed("hud-checkbox.png").drawAtPoint(painter, {0, 0});
            imageNamed("hud-checkbox-on.png").drawAtPoint(painter, {24, 0});
        }
    };
    QPointF m_signs;
};

QImage picture(QWidget& widget, double ratio)
{
    widget.setAttribute(Qt::WA_DontShowOnScreen);
    widget.show();
    QImage image((QSizeF(widget.size()) * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    widget.render(&image);
    return image;
}

} // namespace

QImage controlSheet(double ratio)
{
    QImage image((QSizeF(960, 840) * ratio).toSize(), QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    image.fill(0xffdfe3e8);
    QPainter painter(&image);
    LightPanel light;
    painter.drawImage(QPointF(16, 16), picture(light, ratio));
    // Something colourful behind the translucent panel.
    QLinearGradient wall(QPointF(612, 0), QPointF(960, 380));
    wall.setColorAt(0, QColor(0xf2, 0x8a, 0x5b));
    wall.setColorAt(0.5, QColor(0x6c, 0x5b, 0xc0));
    wall.setColorAt(1, QColor(0x2b, 0x9c, 0xa8));
    painter.fillRect(QRectF(612, 0, 348, 380), wall);
    DarkPanel dark;
    painter.drawImage(QPointF(626, 16), picture(dark, ratio));
    painter.fillRect(QRectF(626, 400, 320, 23), QColor(0x33, 0x33, 0x33));
    imageNamed("black-title-text.png").draw(painter, QRectF(763, 400, 46, 23));

    const QPalette before = QApplication::palette();
    QPalette night(QColor(0x35, 0x36, 0x3a), QColor(0x26, 0x27, 0x2a));
    double x = 16;
    for (const QPalette& palette : {before, night}) {
        QApplication::setPalette(palette);
        const support::TestRun run;
        const AboutController about;
        painter.drawImage(QPointF(x, 568), picture(about.window(), ratio));
        x += 340;
    }
    QApplication::setPalette(before);
    return image;
}
