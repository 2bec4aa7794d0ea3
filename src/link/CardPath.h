#pragma once

#include <QString>

#include <cstddef>
#include <optional>
#include <string>

// Paths that come from the instrument (SD card paths, listing lines, sequence names) are checked
// before they touch the disk: an absolute path, a ".." component or anything that would land
// outside the target folder is refused.

// Why a card path may not name a file below a folder (absolute, "..", control characters,
// empty); empty when it may.
QString card_path_refusal(const std::string& cardPath);

// The local file for `cardPath` inside `root` (both separators accepted in `cardPath`). On
// refusal returns nullopt and sets `error` to a text naming the path and the reason.
std::optional<QString> card_path_in_folder(const QString& root, const std::string& cardPath, QString* error);

// Writes `size` bytes to `path` through a temporary file in the same folder renamed over the
// old one, creating missing folders; a failure leaves any old file untouched.
bool write_file_atomically(const QString& path, const char* data, std::size_t size, QString* error);
