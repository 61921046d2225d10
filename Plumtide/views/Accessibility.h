#pragma once

class QString;
class QWidget;

/// Tells Qt how our own widgets speak to a screen reader: their role, name, state and actions. Every one
/// of them calls it before it does anything that Qt might tell a screen reader.
/// Thread: main thread.
void installAccessibility();

/// Has a screen reader say `sentence`, which is about something in `widget`: by an announcement, or before Qt 6.8 by the
/// alert named "alert" of its window. An alert that is shown needs no announcement. Thread: main thread.
void announce(QWidget &widget, const QString &sentence);
