#pragma once

/// Gives back what only a visible window needs: the pages of code and of font files, which are read again from the
/// files when they are used, and free heap. Takes some milliseconds, and the next drawing a little longer. For when
/// nothing has been on show for a while. Thread: any.
void giveBackIdleMemory();
