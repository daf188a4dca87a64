// What velaWarning shows, and the codes that its parts end with.
#pragma once

#include <string>
#include <vector>

namespace kelvo::velaWarning {

/// Texts in UTF-8, as they came; a text may hold line feeds and control characters.
struct Message {
    std::string title;
    std::vector<std::string> lines;
    std::string detail;
    std::vector<std::string> buttons;
};

/// Exit code when no button was pressed; a pressed one counts from 1.
constexpr int kNoButton = 0;

/// Shells and loaders end with 126 and more when they fail: those codes must name no button.
constexpr int kMostButtons = 125;

// Codes between velaWarning and its window. Libraries under the window end the process with small
// codes when they lose the display, and a loader with 127: none of those may stand for a button.
constexpr int kWindowClosed = 128;        ///< shown and closed; 128 + k: button k was pressed
constexpr int kWindowFailed = 254;        ///< not shown: there is no usable display
constexpr int kLostDisplay[] = {1, 255};  ///< how Qt ends when the display goes away

}  // namespace kelvo::velaWarning
