// The little HTTP the help server speaks on the loopback interface, to the browser and to the
// library: one request per connection, bounded in size and time; forms and JSON texts.
#ifndef BORVANE_PLATFORM_HELP_HELP_HTTP_H_
#define BORVANE_PLATFORM_HELP_HELP_HTTP_H_

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace borvane::platform {

// Percent-encoding: every byte but letters, digits and "-._~" (and "/" when `keep_slash`).
std::string UrlEncode(std::string_view text, bool keep_slash = false);
// "%41" as "A" ("+" stays "+"); a broken escape stays as written.
std::string UrlDecode(std::string_view text);

using Form = std::map<std::string, std::string>;
// "a=1&b=x%20y" (values decoded; "+" is a space, as forms send it).
Form ParseForm(std::string_view text);
std::string EncodeForm(const std::vector<std::pair<std::string, std::string>>& fields);

// A JSON string literal of UTF-8 text, quotes included; "<" is escaped too, so the text can
// stand inside a page's markup.
std::string JsonString(std::string_view utf8);

struct HttpRequest {
  std::string method;
  std::string path;                            // decoded, without the query
  std::string query;                           // as sent
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;
  std::string Header(const std::string& name) const {
    auto it = headers.find(name);
    return it == headers.end() ? std::string() : it->second;
  }
};

// Reads one request from the connected socket `fd`: false for a request that is malformed,
// larger than the limits (16 KB of head, 1 MB of body) or not complete within `timeout_ms`.
bool ReadHttpRequest(int fd, HttpRequest& request, int timeout_ms);

// Writes a whole response and nothing after it.
bool WriteHttpResponse(int fd, int status, std::string_view type, std::string_view body,
                       const std::vector<std::pair<std::string, std::string>>& headers = {});
// A response written as it is made, in pieces of about 64 KB, so that a large answer is never
// held whole. Its body ends with the connection, so no length is sent.
class HttpStream {
 public:
  HttpStream(int fd, int status, std::string_view type);
  void Append(std::string_view text);
  // Writes what is left; false when the peer went away on the way.
  bool Finish();

 private:
  static constexpr size_t kPiece = 64 << 10;
  void Flush();
  int fd_;
  std::string buffer_;
  bool ok_ = true;
};

// Writes everything; false when the peer is gone.
bool WriteAllTo(int fd, std::string_view bytes);

// A request of the library to a server on 127.0.0.1:`port`, with the header that only a
// program (not a page) sends. False when no connection or no complete answer came within
// `timeout_ms`.
bool HttpCall(int port, const std::string& method, const std::string& path, const std::string& body,
              int timeout_ms, int& status, std::string& answer);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_HTTP_H_
