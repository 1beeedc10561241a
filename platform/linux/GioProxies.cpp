// GLib first: Qt's keywords would break its headers.
#include <gio/gio.h>

#include "../Proxies.h"

#include <algorithm>
#include <memory>

namespace platform {

namespace {

struct Unref
{
    void operator()(void* object) const { g_object_unref(object); }
};

/// An event loop's context of this thread alone, for the time of one call.
class OwnContext
{
public:
    OwnContext() { g_main_context_push_thread_default(m_context); }
    ~OwnContext()
    {
        g_main_context_pop_thread_default(m_context);
        g_main_context_unref(m_context);
    }
    OwnContext(const OwnContext&) = delete;
    OwnContext& operator=(const OwnContext&) = delete;

    void waitFor(const bool& done) const
    {
        while (!done)
            g_main_context_iteration(m_context, TRUE);
    }
    void cancelAfter(std::chrono::milliseconds patience, GCancellable* call) const
    {
        GSource* const timer = g_timeout_source_new(static_cast<guint>(std::max<qint64>(patience.count(), 0)));
        const auto cancel = [](void* which) -> gboolean {
            g_cancellable_cancel(static_cast<GCancellable*>(which));
            return G_SOURCE_REMOVE;
        };
        g_source_set_callback(timer, cancel, call, nullptr);
        g_source_attach(timer, m_context);
        g_source_unref(timer); // it goes with the context
    }

private:
    GMainContext* m_context = g_main_context_new();
};

struct LookUp
{
    char** found = nullptr;
    bool done = false;

    static void finish(GObject* resolver, GAsyncResult* result, void* self)
    {
        // An error is left alone: the address may well be reached without a proxy.
        auto& [found, done] = *static_cast<LookUp*>(self);
        found = g_proxy_resolver_lookup_finish(G_PROXY_RESOLVER(resolver), result, nullptr);
        done = true;
    }
};

QByteArray inTermsOfCurl(QByteArray proxy)
{
    if (proxy.startsWith("direct:"))
        return "";
    // Names are looked up by the proxy: here they may mean nothing.
    for (const char* scheme : {"socks://", "socks5://"}) {
        if (proxy.startsWith(scheme))
            return "socks5h://" + proxy.mid(qstrlen(scheme));
    }
    return proxy;
}

} // namespace

std::vector<QByteArray> proxiesOfTheDesktop(const QByteArray& url, std::chrono::milliseconds patience,
                                            const std::stop_token& stop)
{
    // Made outside the context of this call: it learns of changed settings in the one that is current now.
    GProxyResolver* const resolver = g_proxy_resolver_get_default();
    const std::unique_ptr<GCancellable, Unref> call(g_cancellable_new());
    const OwnContext context;
    context.cancelAfter(patience, call.get());
    const std::stop_callback stopped(stop, [&call] { g_cancellable_cancel(call.get()); });
    LookUp lookUp;
    g_proxy_resolver_lookup_async(resolver, url.constData(), call.get(), &LookUp::finish, &lookUp);
    context.waitFor(lookUp.done);

    std::vector<QByteArray> proxies;
    for (char** proxy = lookUp.found; proxy && *proxy; ++proxy)
        proxies.push_back(inTermsOfCurl(*proxy));
    g_strfreev(lookUp.found);
    const bool isDirect = std::ranges::all_of(proxies, &QByteArray::isEmpty);
    return isDirect ? std::vector<QByteArray>() : proxies;
}

} // namespace platform
