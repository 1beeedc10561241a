#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <optional>

#include <tl/expected.hpp>

namespace app {

/// One version that a feed offers.
struct AppcastItem
{
    QString version;     ///< what decides which is newer
    QString displayName; ///< how people call the version
    QString notes;       ///< what is new, as it stands in the feed: often HTML
    QUrl page;           ///< where to get it: http or https

    /// What the notes say, without any format; may be empty. Main thread only.
    QString plainNotes() const;
};

/// A list of versions in RSS 2.0, with the attributes `version`, `shortVersionString` and `os` of the Sparkle
/// namespace.
class Appcast
{
public:
    Appcast() = delete;

    /// A larger feed is no feed.
    static constexpr qsizetype LargestFeed = qsizetype{1024} * 1024;

    /// The newest version that is for this system and has a page. Empty: the feed lists none. The error is a sentence;
    /// it comes for what is no such feed, and when versions are listed but none can be used. Any thread.
    static tl::expected<std::optional<AppcastItem>, QString> newest(const QByteArray& xml);

    /// Negative, zero or positive as `a` is older than, the same as or newer than `b`. Parts compare as numbers; a
    /// version with letters after its numbers comes before the one without: 1.9 < 1.10b2 < 1.10 = 1.10.0.
    static int compareVersions(const QString& a, const QString& b);
};

} // namespace app
