#include "support/InRow.h"
#include "support/TestEnvironment.h"
#include "support/TestMain.h"

#include "skin/AboutController.h"
#include "skin/Appearance.h"
#include "skin/ColorHex.h"
#include "skin/Fonts.h"
#include "skin/Image.h"
#include "skin/ImageButton.h"
#include "skin/LinkButton.h"
#include "skin/Parts.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonDateBackgroundView.h"
#include "skin/QuillonHoursTextField.h"
#include "skin/QuillonTextFieldBackground.h"
#include "skin/QuillonTextFieldCell.h"
#include "skin/Spinner.h"

#include <QContextMenuEvent>
#include <QDialog>
#include <QLabel>
#include <QPainter>
#include <QPointer>
#include <QSignalSpy>
#include <QToolTip>
#include <QVBoxLayout>

using namespace skin;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QImage canvas(QSize size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

/// What the widget alone draws.
QImage picture(QWidget& widget)
{
    QImage image = canvas(widget.size());
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

/// The three pictures of a button over a frame of that size.
QImage bezel(const QByteArray& prefix, QSize size)
{
    QImage image = canvas(size);
    QPainter painter(&image);
    const auto part = [&](const char* which) { return imageNamed((prefix + which + ".png").toStdString()); };
    drawThreePartImage(painter, QRectF(QPointF(0, 0), size), part("left"), part("mid"), part("right"));
    return image;
}

/// The left end and a bit of the middle, where no title is.
QImage leftEnd(const QImage& image)
{
    return image.copy(0, 0, 10, image.height());
}

/// A window that is active, with one control in it.
struct Window : QWidget
{
    explicit Window(QWidget& shown) : control(&shown)
    {
        auto* box = new QVBoxLayout(this);
        box->addWidget(&other);
        box->addWidget(control);
        show();
        activateWindow();
        static_cast<void>(QTest::qWaitForWindowActive(this));
    }
    ~Window() override
    {
        // It is the test's.
        if (control)
            control->setParent(nullptr);
    }

    QPointer<QWidget> control;
    QLineEdit other;
};

struct Told final : HoursTextFieldDelegate, DateBackgroundDelegate
{
    void quillonHoursDidBecomeFirstResponder(QuillonHoursTextField&) override { calls << u"delegate"_s; }
    void quillonDateFieldClicked(QuillonDateBackgroundView&) override { calls << u"delegate"_s; }
    QStringList calls;
};

} // namespace

class ControlsTest final : public QObject
{
    Q_OBJECT

private slots:
    void everyNameOfBothSkins()
    {
        // Written out: these are the names that drawing code asks for.
        QStringList names = u"m-h-start m-h-stop m-right-bg-left m-right-bg-mid m-right-bg-right m-offline m-sign-in "
                            "tw-icn-start tw-icn-start-active tw-icn-stop-active tw-icn-lock tw-bg-header tw-bg-footer "
                            "hud-background-1 hud-background-2 hud-background-3 black-title-text tw-offline quillon "
                            "tw-checkbox tw-checkbox-on hud-checkbox hud-checkbox-on"_s.split(u' ');
        for (const char* button : {"btn-tw-submit", "btn-tw-cancel", "btn-tw-active", "btn-hud-submit",
                                   "btn-hud-cancel", "btn-hud-active", "btn-big-submit", "btn-big-active"}) {
            for (const char* part : {"left", "mid", "right"})
                names << u"%1-%2"_s.arg(QLatin1StringView(button), QLatin1StringView(part));
        }
        for (const QString& symbol :
             u"tw-back tw-forward tw-today tw-arrow hud-arrow tw-edit-hours tw-add-one"_s.split(u' '))
            names << symbol << symbol + u"-active"_s;
        for (const QString& name : names) {
            QImage image = canvas({200, 200});
            QPainter painter(&image);
            painter.scale(2, 2);
            imageNamed((name + u".png"_s).toStdString()).drawAtPoint(painter, {});
            int inked = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x)
                    inked += qAlpha(image.pixel(x, y)) > 0;
            }
            QVERIFY2(inked > 20, qPrintable(name));
        }
        for (const char* prefix : {"tw-tf", "hud-tf", "hud-tf-error"}) {
            for (const Image& part : ninePartsNamed(prefix))
                QVERIFY2(!part.isNull(), prefix);
        }
    }

    void wideOnesAreAlikeFromLeftToRight()
    {
        for (const char* name : {"tw-bg-header", "tw-bg-footer", "m-right-bg-mid", "btn-tw-submit-mid",
                                 "btn-tw-cancel-mid", "btn-tw-active-mid", "btn-hud-submit-mid", "btn-hud-cancel-mid",
                                 "btn-hud-active-mid", "btn-big-submit-mid", "btn-big-active-mid"}) {
            for (const qreal scale : {1.0, 1.25, 2.0}) {
                QImage stretched = canvas({300, 100}), wide = stretched;
                for (QImage* image : {&stretched, &wide}) {
                    QPainter painter(image);
                    painter.scale(scale, scale);
                    const auto draw = image == &wide ? &Image::drawWide : &Image::draw;
                    (imageNamed(std::string(name) + ".png").*draw)(painter, QRectF(3, 2, 101, 25));
                }
                QVERIFY2(stretched == wide, name);
            }
        }
    }

    void colours()
    {
        for (const auto& [text, colour] : {std::pair(u"EEEEEE"_s, QColor(238, 238, 238)),
                                           {u"0a80Ff"_s, QColor(10, 128, 255)},
                                           {u"ff"_s, QColor(0, 0, 255)},
                                           {u"12345678"_s, QColor(0x34, 0x56, 0x78)},
                                           {u" 0x2F2F2F"_s, QColor(47, 47, 47)},
                                           {u"12zz"_s, QColor(0, 0, 0x12)},
                                           {u"123456789"_s, QColor(255, 255, 255)}, // too large
                                           {u"#EEEEEE"_s, QColor(0, 0, 0)},
                                           {QString(), QColor(0, 0, 0)}}) {
            QVERIFY2(colorFromHexRGB(text).rgba() == colour.rgba(), qPrintable(text));
            QCOMPARE(colorFromHexRGB(text, 0.5f).alphaF(), QColor::fromRgbF(0, 0, 0, 0.5f).alphaF());
        }
    }

    void buttonsShowTheirState()
    {
        struct Look
        {
            bool hud;
            QString title;
            bool enabled;
            bool pressed;
            QByteArray images;
            QColor ink;
            bool shadow;
        };
        const QColor white(255, 255, 255);
        const QColor grey(0x44, 0x44, 0x44);
        const QColor faded = QColor::fromRgbF(1, 1, 1, 0.4f);
        for (const Look& look : {Look{false, u"Save"_s, true, false, "btn-tw-submit-", white, true},
                                 {false, u"Save"_s, true, true, "btn-tw-active-", white, true},
                                 {false, u"Cancel"_s, true, false, "btn-tw-cancel-", grey, false},
                                 {true, u"Start"_s, true, false, "btn-hud-submit-", white, true},
                                 {true, u"Start"_s, true, true, "btn-hud-active-", white, true},
                                 {true, u"Cancel"_s, true, false, "btn-hud-cancel-", white, true},
                                 {true, u"Cancel"_s, true, true, "btn-hud-active-", white, true},
                                 {true, u"Start"_s, false, false, "btn-hud-cancel-", faded, true}}) {
            const bool cancels = look.title == "Cancel"_L1;
            const auto purpose = cancels ? QuillonButtonCell::Cancel : QuillonButtonCell::Submit;
            const std::unique_ptr<QuillonButtonCell> button(look.hud
                                                                ? new QuillonHUDButtonCell(look.title, nullptr, purpose)
                                                                : new QuillonButtonCell(look.title, nullptr, purpose));
            button->resize(90, button->sizeHint().height());
            button->setEnabled(look.enabled);
            button->setDown(look.pressed);
            QVERIFY2(leftEnd(picture(*button)) == leftEnd(bezel(look.images, button->size())), look.images);
            QCOMPARE(button->textColor(), look.ink);
            QCOMPARE(button->shouldShadowText(), look.shadow);
            QCOMPARE(button->isCancelButton(), cancels);
            QCOMPARE(button->isSubmitButton(), !cancels);
        }
    }

    void heldReturnIsOnePress()
    {
        QuillonButtonCell start(u"Start"_s);
        QuillonTimesheetButtonCell row;
        for (QAbstractButton* button : {static_cast<QAbstractButton*>(&start), static_cast<QAbstractButton*>(&row)}) {
            const Window window(*button);
            const QSignalSpy clicks(button, &QAbstractButton::clicked);
            QTest::keyPress(button, Qt::Key_Return);
            QKeyEvent again(QEvent::KeyPress, Qt::Key_Return, {}, u"\r"_s, true);
            QApplication::sendEvent(button, &again);
            QCOMPARE(clicks.count(), 1);
            button->setParent(nullptr);
        }
    }

    void focusGlows()
    {
        auto button = std::make_unique<QuillonButtonCell>(u"Save"_s);
        Window window(*button);
        QPoint place = button->geometry().topLeft() + QPoint(20, -1);
        const auto beside = [&] { return window.grab().toImage().pixelColor(place); };
        const QColor before = beside();
        button->setFocus(Qt::TabFocusReason);
        QVERIFY(beside().blue() > beside().red() + 30);
        window.other.setFocus();
        QCOMPARE(beside(), before);
        // People who click know where they are.
        button->setFocus(Qt::MouseFocusReason);
        QCOMPARE(beside(), before);
        // A menu gives the focus back, and changes nothing.
        for (const QEvent::Type type : {QEvent::FocusOut, QEvent::FocusIn}) {
            QFocusEvent menu(type, Qt::PopupFocusReason);
            QCoreApplication::sendEvent(button.get(), &menu);
        }
        QCOMPARE(beside(), before);
        window.other.setFocus();
        button->setFocus(Qt::TabFocusReason);
        button->hide();
        QCOMPARE(beside(), before);
        button->show();
        button->setFocus(Qt::TabFocusReason);
        QVERIFY(beside() != before);
        button->resize(button->width() - 20, button->height()); // at the same corner
        place = button->geometry().topRight() + QPoint(1, 10);
        QVERIFY(beside().blue() > beside().red() + 30);
        button.reset();
        QCOMPARE(beside(), before);
    }

    void textFieldLooks()
    {
        QuillonTextFieldBackground field;
        field.resize(80, 26);
        QVERIFY(qGray(picture(field).pixel(40, 13)) < 0x40);
        field.setError(true);
        const QRgb error = picture(field).pixel(40, 13);
        QVERIFY(qRed(error) > qGreen(error) + 20);
        field.setUseHUDBackground(false);
        const QImage lightWithError = picture(field);
        QCOMPARE(lightWithError.pixel(40, 13), 0xffffffffu);
        field.setError(false);
        QCOMPARE(picture(field), lightWithError);
    }

    void textFieldGlowsAroundItsField()
    {
        QuillonTextFieldBackground frame;
        QLineEdit field(&frame);
        frame.setFixedSize(100, 26);
        field.setGeometry(4, 2, 90, 20);
        Window window(frame);
        const auto beside = [&] {
            return window.grab().toImage().pixelColor(frame.geometry().topLeft() + QPoint(20, -1));
        };
        window.other.setFocus();
        const QColor before = beside();
        field.setFocus(Qt::MouseFocusReason);
        QVERIFY(beside().blue() > beside().red() + 30);
        window.other.setFocus();
        QCOMPARE(beside(), before);
    }

    void hoursFieldAnnounces()
    {
        Told told;
        QuillonHoursTextField field;
        field.setDelegate(&told);
        connect(&field, &QuillonHoursTextField::didBecomeFirstResponder, &field,
                [&](const QuillonHoursTextField* sender) {
                    told.calls << (sender == &field ? u"everybody"_s : u"wrong sender"_s);
                });
        Window window(field);
        window.other.setFocus();
        const QStringList once{u"delegate"_s, u"everybody"_s};

        QTest::mouseClick(&field, Qt::LeftButton);
        QVERIFY(field.hasFocus());
        QCOMPARE(std::exchange(told.calls, {}), once);

        window.other.setFocus();
        QVERIFY(field.becomeFirstResponder());
        QCOMPARE(std::exchange(told.calls, {}), once);

        // The window was away for a moment, or a menu was open: nothing new.
        for (const auto reason : {Qt::ActiveWindowFocusReason, Qt::PopupFocusReason}) {
            QFocusEvent back(QEvent::FocusIn, reason);
            QApplication::sendEvent(&field, &back);
            QCOMPARE(told.calls, QStringList());
        }

        window.other.setFocus();
        field.setEnabled(false);
        QVERIFY(!field.becomeFirstResponder());
        QCOMPARE(std::exchange(told.calls, {}), once);
    }

    void dateAnnouncesClicks()
    {
        Told told;
        QuillonDateBackgroundView view;
        view.setDelegate(&told);
        connect(&view, &QuillonDateBackgroundView::clicked, &view, [&] { told.calls << u"everybody"_s; });
        Window window(view);
        QTest::mouseClick(&view, Qt::RightButton);
        QCOMPARE(told.calls, QStringList());
        QTest::mouseClick(&view, Qt::LeftButton);
        QCOMPARE(told.calls, (QStringList{u"delegate"_s, u"everybody"_s}));
    }

    void textElidesWithToolTip()
    {
        QuillonTextFieldCell text;
        text.setText(u"Harbour <b>Lights</b>\nand more"_s);
        Window window(text);
        text.resize(text.sizeHint());
        QVERIFY(!text.isElided());
        const auto toolTip = [&] {
            QToolTip::hideText();
            QHelpEvent event(QEvent::ToolTip, {2, 2}, text.mapToGlobal(QPoint(2, 2)));
            QApplication::sendEvent(&text, &event);
            return QToolTip::text();
        };
        QCOMPARE(toolTip(), QString());
        text.resize(50, text.height());
        QVERIFY(text.isElided());
        QCOMPARE(toolTip(), u"<qt>Harbour &lt;b&gt;Lights&lt;/b&gt;<br>and more</qt>"_s);
        QToolTip::hideText();
    }

    void textIsDrawnAsItIsNow()
    {
        // After each change like one that was never drawn before.
        using Change = void (*)(QuillonTextFieldCell&);
        const std::vector<std::pair<const char*, Change>> changes{
            {"text", [](auto& text) { text.setText(u"Annual report "_s); }},
            {"font", [](auto& text) { text.setFont(interfaceFont(14, QFont::Bold)); }},
            {"relief", [](auto& text) { text.setBackgroundStyle(QuillonTextFieldCell::BackgroundStyle::Raised); }},
            {"colour", [](auto& text) { text.setTextColor(Qt::red); }},
            {"side", [](auto& text) { text.setAlignment(Qt::AlignRight | Qt::AlignVCenter); }},
            {"narrower", [](auto& text) { text.resize(60, 30); }},
            {"narrower still", [](auto& text) { text.resize(45, 30); }},
            {"text that does not fit", [](auto& text) { text.setText(u"Quarterly report"_s); }},
            {"wider", [](auto& text) { text.resize(180, 30); }},
            {"look", [](auto&) { setAppearance({.scheme = Scheme::Dark}); }},
            {"direction", [](auto& text) { text.setLayoutDirection(Qt::RightToLeft); }},
            {"other script", [](auto& text) { text.setText(u"ملاحظات "_s); }}};
        QuillonTextFieldCell known;
        known.resize(200, 30);
        for (std::size_t done = 0; done < changes.size(); ++done) {
            const support::InRow inRow(changes[done].first);
            const QImage before = picture(known);
            changes[done].second(known);
            QuillonTextFieldCell fresh;
            fresh.resize(200, 30);
            for (std::size_t i = 0; i <= done; ++i)
                changes[i].second(fresh);
            QVERIFY(picture(known) != before);
            QCOMPARE(picture(known), picture(fresh));
        }
        setAppearance({});
    }

    void rightClickOnTextReachesItsRow()
    {
        struct Row final : QWidget
        {
            void contextMenuEvent(QContextMenuEvent* event) override { menuAt = event->pos(); }
            QPoint menuAt;
        } row;
        QuillonTextFieldCell text(&row);
        text.setTextInteractionFlags(Qt::TextSelectableByMouse);
        text.setText(u"Annual report"_s);
        text.setGeometry(10, 5, 100, 16);
        QContextMenuEvent event(QContextMenuEvent::Mouse, {3, 4}, text.mapToGlobal(QPoint(3, 4)));
        QApplication::sendEvent(&text, &event);
        QCOMPARE(row.menuAt, QPoint(13, 9));
    }

    void spinnerTurnsOnlyInSight()
    {
        Spinner spinner;
        spinner.resize(16, 16);
        const QImage nothing = canvas({16, 16});
        QCOMPARE(picture(spinner), nothing);
        spinner.startAnimation();
        const QImage first = picture(spinner);
        QVERIFY(first != nothing);
        spinner.show();
        QTRY_VERIFY(picture(spinner) != first);
        spinner.hide();
        const QImage hidden = picture(spinner);
        QCOMPARE(picture(spinner), hidden);
        spinner.show();
        QTRY_VERIFY(picture(spinner) != hidden);
        spinner.stopAnimation();
        QCOMPARE(picture(spinner), nothing);
    }

    void sheetsOfPicturesAreReadAgain()
    {
        support::TestRun run;
        const auto drawn = [] { return imageNamed("quillon.png").pixmapOnce(32).toImage(); };
        const QImage first = drawn();
        QCOMPARE(run.time.timers(), 1);
        run.time.advance(2s);
        QCOMPARE(run.time.timers(), 0);
        QCOMPARE(drawn(), first);
    }

    void linkOpensItsPage()
    {
        const support::TestRun run;
        LinkButton link(u"Privacy Policy"_s);
        link.setLink(QUrl(u"https://wrenfold.example/privacy"_s));
        Window window(link);
        link.setFocus();
        QTest::keyClick(&link, Qt::Key_Return);
        QCOMPARE(run.desktop.opened, QList<QUrl>{QUrl(u"https://wrenfold.example/privacy"_s)});
        link.setLink(QUrl());
        QVERIFY(!link.isEnabled());
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(ControlsTest)
#include "ControlsTest.moc"
