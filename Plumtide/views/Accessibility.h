#pragma once

class QString;
class QWidget;

/// Tells Qt how our own widgets speak to a screen reader: their role, name, state and actions. Every one
/// of them calls it before it does anything that Qt might tell a screen reader.
/// Thread: main thread.
void installAccessibility();

/// Has a screen reader say `sentence`, about something in `widget`. (It says an alert that is shown without that.)
void announce(QWidget &widget, const QString &sentence);
