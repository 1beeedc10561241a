#include "GioLibrary.h"

#include "../Proxies.h"

#include <algorithm>
#include <memory>

namespace platform {

namespace {

/// An event loop's context of this thread alone, for the time of one call.
class OwnContext
{
public:
    explicit OwnContext(const GioLibrary& gio) : m_gio(gio) { gio.main_context_push_thread_default(m_context); }
    ~OwnContext()
    {
        m_gio.main_context_pop_thread_default(m_context);
        m_gio.main_context_unref(m_context);
    }
    OwnContext(const OwnContext&) = delete;
    OwnContext& operator=(const OwnContext&) = delete;

    void waitFor(const bool& done) const
    {
        while (!done)
            m_gio.main_context_iteration(m_context, TRUE);
    }
    void cancelAfter(std::chrono::milliseconds patience, GCancellable* call)
    {
        m_call = call;
        GSource* const timer = m_gio.timeout_source_new(static_cast<guint>(std::max<qint64>(patience.count(), 0)));
        const auto cancel = [](void* context) -> gboolean {
            const OwnContext& self = *static_cast<OwnContext*>(context);
            self.m_gio.cancellable_cancel(self.m_call);
            return G_SOURCE_REMOVE;
        };
        m_gio.source_set_callback(timer, cancel, this, nullptr);
        m_gio.source_attach(timer, m_context);
        m_gio.source_unref(timer); // it goes with the context
    }

private:
    const GioLibrary& m_gio;
    GMainContext* m_context = m_gio.main_context_new();
    GCancellable* m_call = nullptr;
};

struct LookUp
{
    const GioLibrary& gio;
    char** found = nullptr;
    bool done = false;

    static void finish(GObject* resolver, GAsyncResult* result, void* self)
    {
        // An error is left alone: the address may well be reached without a proxy.
        auto& [gio, found, done] = *static_cast<LookUp*>(self);
        found = gio.proxy_resolver_lookup_finish(reinterpret_cast<GProxyResolver*>(resolver), result, nullptr);
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
    const GioLibrary* const gio = GioLibrary::load();
    if (!gio)
        return {};
    // Made outside the context of this call: it learns of changed settings in the one that is current now.
    GProxyResolver* const resolver = gio->proxy_resolver_get_default();
    const std::unique_ptr<GCancellable, decltype(gio->object_unref)> call(gio->cancellable_new(), gio->object_unref);
    OwnContext context(*gio);
    context.cancelAfter(patience, call.get());
    const std::stop_callback stopped(stop, [&] { gio->cancellable_cancel(call.get()); });
    LookUp lookUp{*gio};
    gio->proxy_resolver_lookup_async(resolver, url.constData(), call.get(), &LookUp::finish, &lookUp);
    context.waitFor(lookUp.done);

    std::vector<QByteArray> proxies;
    for (char** proxy = lookUp.found; proxy && *proxy; ++proxy)
        proxies.push_back(inTermsOfCurl(*proxy));
    gio->strfreev(lookUp.found);
    const bool isDirect = std::ranges::all_of(proxies, &QByteArray::isEmpty);
    return isDirect ? std::vector<QByteArray>() : proxies;
}

} // namespace platform
