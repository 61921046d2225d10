#pragma once

/// Tells Qt how our own widgets speak to a screen reader: their role, name, state and actions. Every one
/// of them calls it before it does anything that Qt might tell a screen reader.
/// Thread: main thread.
void installAccessibility();
