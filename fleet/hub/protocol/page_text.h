// The words of a web page, for messages: what stands between an agent and its hub answers with pages.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidra {

/// The text of a page's body, else its title, without tags, scripts and styles, in single blanks; may be empty.
/// Entities stay as they are. Absent for a text that does not begin as a page does.
std::optional<std::string> pageText(std::string_view page);

}  // namespace tidra
