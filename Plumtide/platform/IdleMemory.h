#pragma once

/// Gives back what only a visible window needs: the pages of font files, which are read again from the file when a
/// glyph is drawn that is not cached, and free heap. Takes some milliseconds, and the next drawing a little longer.
/// For when nothing has been on show for a while. Thread: any.
void giveBackIdleMemory();
