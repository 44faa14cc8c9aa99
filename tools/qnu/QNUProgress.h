#pragma once

#include <string>
#include <string_view>

#include "qnunicode/database/QNUnicodeDatabase.h"

namespace qnu {

// One frame of the progress bar: the file's name (its last path component), a bar of `width`
// cells and the percentage, starting with a carriage return so that it draws over the previous
// frame.
std::string progressBarFrame(std::string_view path, double progress, size_t width);

// What clears the bar's line at the end.
inline constexpr std::string_view kProgressBarClear = "\r\033[K";

// Reads the database's Unihan files on this thread unless they are read already. With
// showProgress, a bar on standard error follows the reader's progress notifications and is
// cleared at the end. The host installs no main-thread dispatcher, so the notifications of a
// read on this thread arrive on it at once.
void readUnihanWithProgress(QNUnicodeDatabase& database, bool showProgress);

}  // namespace qnu
