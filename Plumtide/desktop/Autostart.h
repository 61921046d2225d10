#pragma once

#include "Plumtide/system/Outcome.h"

#include <QString>

/// The start at login: a desktop entry in the user's autostart folder (freedesktop.org's "Autostart Of Applications
/// During Startup"). Each call reads the file, since the desktop's own settings write it, too. Thread: any.
class Autostart
{
public:
    static constexpr auto flag = "--at-login"; ///< The entry's argument: no window is opened.

    /// `entryPath` is the desktop entry, `program` what it starts (see Environment::program).
    Autostart(QString entryPath, QString program) : m_path(std::move(entryPath)), m_program(std::move(program)) {}

    /// `autostart/plumtide.desktop` in the folder that Defaults::configHome names.
    static QString standardPath(const QString &home);

    /// Whether a login starts a Plumtide: there is an entry, it is not hidden, and its program exists.
    [[nodiscard]] bool isOn() const;

    /// Writes or removes the entry; of one that the user has changed, only its keys for on and off. A failure keeps it.
    [[nodiscard]] Outcome<void> setOn(bool isOn) const;

private:
    const QString m_path;
    const QString m_program;
};
