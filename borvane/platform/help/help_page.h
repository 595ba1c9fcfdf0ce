// The help window's own page: the topic beside a collapsible contents tree, an index with a
// filter box and a full-text search. The page is the same for every file; it asks the server
// for the file's lists and follows the window's state through its event stream. It puts text
// of the help file only into text nodes, never into markup.
#ifndef BORVANE_PLATFORM_HELP_HELP_PAGE_H_
#define BORVANE_PLATFORM_HELP_HELP_PAGE_H_

#include <string>
#include <string_view>

namespace borvane::platform {

// The page's markup, with the server's `token` in the addresses of its script and style, the
// help file's `title` (UTF-8) escaped, and the server's id of the `file` it shows.
std::string HelpPageHtml(const std::string& token, std::string_view title, const std::string& file);
std::string_view HelpPageScript();
std::string_view HelpPageStyle();

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_PAGE_H_
