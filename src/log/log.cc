#include "log/log.h"

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <vector>

namespace vantel {
namespace {

// Long enough for every line the daemon prints but the camera texts it
// echoes; those go through a heap buffer of their exact length.
constexpr size_t kLineBufferSize = 512;

int g_log_fd = STDOUT_FILENO;

// One write of the whole line; only an interruption or a short write (a
// pipe that is full) sends the rest again.
void write_all(const char* text, size_t length) {
  if (g_log_fd < 0) return;
  while (length > 0) {
    const ssize_t written = write(g_log_fd, text, length);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text += written;
    length -= static_cast<size_t>(written);
  }
}

void write_formatted(const char* format, va_list arguments, bool add_line_end) {
  char line[kLineBufferSize];
  va_list again;
  va_copy(again, arguments);
  const int needed = std::vsnprintf(line, sizeof line - 1, format, arguments);
  if (needed < 0) {
    va_end(again);
    return;
  }
  size_t length = static_cast<size_t>(needed);
  if (length + 1 < sizeof line) {
    va_end(again);
    if (add_line_end) line[length++] = '\n';
    write_all(line, length);
    return;
  }
  std::vector<char> long_line(length + 2);
  std::vsnprintf(long_line.data(), length + 1, format, again);
  va_end(again);
  if (add_line_end) long_line[length++] = '\n';
  write_all(long_line.data(), length);
}

void write_line(bool add_line_end, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write_formatted(format, arguments, add_line_end);
  va_end(arguments);
}

}  // namespace

void log_printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write_formatted(format, arguments, false);
  va_end(arguments);
}

void log_puts(const char* text) { write_line(true, "%s", text); }

void log_to(int fd) { g_log_fd = fd; }

}  // namespace vantel
