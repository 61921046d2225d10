#pragma once

class QString;
class QWidget;

/// Tells Qt the role, name, state and actions of our own widgets, for screen readers. Thread: main thread.
void installAccessibility();

/// Has a screen reader say `sentence`, about something in `widget`. (An alert is said when it is shown, without this.)
void announce(QWidget &widget, const QString &sentence);
