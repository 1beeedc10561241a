#pragma once

#include <QString>

/// Where the program keeps its files: the XDG Base Directory Specification 0.8. Read from the environment on each call;
/// main thread only.
namespace platform {

/// `Quillon` in the folder for the person's settings.
QString configFolder();

/// `Quillon` in each of the folders for settings, the least important first, the person's own last.
QStringList configFolders();

/// Where the desktop finds what it starts when the person logs in. Empty when there is no home.
QString autostartFolder();

/// `Quillon` in the folder for the person's data. Empty when there is no home.
QString dataFolder();

/// The folder for sockets and locks of this session; a private one in the folder for temporary files where the session
/// has none. Empty when that cannot be made or belongs to somebody else.
QString runtimeFolder();

/// What a person starts the program with, as an absolute path: `quillon` in the folder for commands, or beside the
/// program in a build; the running executable itself where there is no such file (in a test).
QString programPath();

/// The first page of the manual that is installed, or in a build beside the program. Empty without one.
QString manualPage();

/// Makes the folder and any missing parents, accessible to the person alone (mode 0700, as XDG directories must be)
/// whatever the umask. False when it is not there afterwards. Any thread.
bool makeFolder(const QString& folder);

/// The same for a folder of our own, `configFolder` or `dataFolder`: an existing one, and the files in it, are narrowed
/// to modes 0700 and 0600 at most. Files of other users are left alone, and so is `Info.json`, which the person writes.
bool makeOwnFolder(const QString& folder);

} // namespace platform
