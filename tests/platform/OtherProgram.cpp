// other_program [KEYCODE MODIFIERS]
//
// Some other program: a window with a field, which says on standard output when it is in front and what is in the
// field. With arguments it holds that hot key for itself, and says "grabbed".

#include <QApplication>
#include <QLineEdit>

#include <xcb/xcb.h>

#include <cstdio>

namespace {

void say(const QByteArray& line)
{
    std::puts(line.constData());
    std::fflush(stdout);
}

class Field final : public QLineEdit
{
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::WindowActivate)
            say("in front");
        return QLineEdit::event(event);
    }
};

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    Field field;
    QObject::connect(&field, &QLineEdit::textChanged, [](const QString& text) { say(text.toUtf8()); });
    if (argc == 3) {
        xcb_connection_t* x = application.nativeInterface<QNativeInterface::QX11Application>()->connection();
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(x)).data->root;
        const auto asked = xcb_grab_key_checked(x, 0, root, static_cast<std::uint16_t>(std::atoi(argv[2])),
                                                static_cast<xcb_keycode_t>(std::atoi(argv[1])), XCB_GRAB_MODE_ASYNC,
                                                XCB_GRAB_MODE_ASYNC);
        if (!xcb_request_check(x, asked))
            say("grabbed");
    }
    field.setGeometry(200, 200, 300, 40);
    field.show();
    return QApplication::exec();
}
