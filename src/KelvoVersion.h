#pragma once

// Version of the application, shown in the main window's title and by `kelvo --version`.
inline constexpr const char* kKelvoVersionNumber = "2.4";
inline constexpr const char* kKelvoVersionDate = "2025-06-16";

// The main window's title.
const char* kelvo_version_string();
