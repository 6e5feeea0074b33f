// The daemon's log: plain text on standard output, no levels, no stamps.
// Each call reaches stdout in one write(2), so no other thread's or
// process's line can land inside it. Any layer, any thread.
#pragma once

namespace vantel {

// The text exactly as printf would format it; no line end is added (the
// daemon's texts carry their own, or none where the recorder expects none).
void log_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// `text` and a line end, as puts prints it, in the same single write.
void log_puts(const char* text);

// Where the lines go from now on: standard output until told otherwise, no
// line at all for -1. For programs that use the camera layer for their own
// output (vantelctl probe); set on the main thread before any other starts.
void log_to(int fd);

}  // namespace vantel
