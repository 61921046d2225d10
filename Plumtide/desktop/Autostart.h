#pragma once

#include "Plumtide/system/Outcome.h"

#include <QString>

/// The start at login: a desktop entry in the user's autostart folder, which every session manager reads (as
/// freedesktop.org describes for "Autostart Of Applications During Startup"). What is on the disk is the only truth;
/// session managers have settings of their own that write there, too.
/// Thread: any. Nothing is kept between the calls.
class Autostart
{
public:
    static constexpr auto flag = "--at-login"; ///< The entry starts the program with it: no user asks for a window.

    /// `entryPath` is the desktop entry, `program` what it starts (see Environment::program).
    Autostart(QString entryPath, QString program);

    /// `autostart/plumtide.desktop` in the folder that Defaults::configHome names.
    static QString standardPath(const QString &home);

    /// Whether a login would start a Plumtide: there is an entry, nobody has hidden it, and its program is there.
    [[nodiscard]] bool isOn() const;

    /// Writes the entry, or removes it. One that the user has changed keeps all that is not about being on or off, and
    /// is hidden instead of removed. A failure leaves the entry as it was.
    [[nodiscard]] Outcome<void> setOn(bool isOn) const;

private:
    const QString m_path;
    const QString m_program;
};
