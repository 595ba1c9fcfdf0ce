#include "borvane/platform/help/help_http.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace borvane::platform {

namespace {

constexpr size_t kMaxHead = 16 << 10;
constexpr size_t kMaxBody = 1 << 20;

int64_t NowMs() {
  timespec ts;
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return int64_t{ts.tv_sec} * 1000 + ts.tv_nsec / 1'000'000;
}

int Hex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Appends what arrives on `fd` to `data` until `done(data)` holds, within `deadline`.
template <class Done>
bool ReadInto(int fd, std::string& data, size_t limit, int64_t deadline, Done done) {
  char buffer[16384];
  while (!done(data)) {
    if (data.size() > limit) return false;
    int64_t left = deadline - NowMs();
    if (left <= 0) return false;
    pollfd p{fd, POLLIN, 0};
    int r = ::poll(&p, 1, static_cast<int>(left));
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data.append(buffer, static_cast<size_t>(n));
  }
  return true;
}

}  // namespace

std::string UrlEncode(std::string_view text, bool keep_slash) {
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~' ||
        (keep_slash && c == '/')) {
      out += static_cast<char>(c);
    } else {
      char buffer[4];
      std::snprintf(buffer, sizeof buffer, "%%%02X", c);
      out += buffer;
    }
  }
  return out;
}

std::string UrlDecode(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() + 0 && Hex(text[i + 1]) >= 0 &&
        Hex(text[i + 2]) >= 0) {
      out += static_cast<char>(Hex(text[i + 1]) * 16 + Hex(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

Form ParseForm(std::string_view text) {
  Form form;
  for (size_t at = 0; at <= text.size();) {
    size_t amp = text.find('&', at);
    if (amp == std::string_view::npos) amp = text.size();
    std::string_view pair = text.substr(at, amp - at);
    at = amp + 1;
    if (pair.empty()) continue;
    size_t eq = pair.find('=');
    std::string name(pair.substr(0, eq));
    std::string value(eq == std::string_view::npos ? "" : pair.substr(eq + 1));
    for (char& c : value)
      if (c == '+') c = ' ';
    form[UrlDecode(name)] = UrlDecode(value);
  }
  return form;
}

std::string EncodeForm(const std::vector<std::pair<std::string, std::string>>& fields) {
  std::string out;
  for (const auto& [name, value] : fields) {
    if (!out.empty()) out += '&';
    out += UrlEncode(name) + "=" + UrlEncode(value);
  }
  return out;
}

std::string JsonString(std::string_view utf8) {
  std::string out = "\"";
  for (unsigned char c : utf8) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      case '<':
        out += "\\u003c";
        break;
      default:
        if (c < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
          out += buffer;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

bool ReadHttpRequest(int fd, HttpRequest& request, int timeout_ms) {
  const int64_t deadline = NowMs() + timeout_ms;
  std::string data;
  if (!ReadInto(fd, data, kMaxHead, deadline,
                [](const std::string& d) { return d.find("\r\n\r\n") != std::string::npos; }))
    return false;
  const size_t head_end = data.find("\r\n\r\n");
  std::string_view head(data.data(), head_end);
  size_t line_end = head.find("\r\n");
  std::string_view line = head.substr(0, line_end);
  size_t sp1 = line.find(' '), sp2 = line.rfind(' ');
  if (sp1 == std::string_view::npos || sp2 == sp1) return false;
  request.method = std::string(line.substr(0, sp1));
  std::string_view target = line.substr(sp1 + 1, sp2 - sp1 - 1);
  size_t q = target.find('?');
  request.path = UrlDecode(target.substr(0, q));
  request.query = q == std::string_view::npos ? "" : std::string(target.substr(q + 1));
  request.headers.clear();
  for (size_t at = line_end == std::string_view::npos ? head.size() : line_end + 2;
       at < head.size();) {
    size_t end = head.find("\r\n", at);
    if (end == std::string_view::npos) end = head.size();
    std::string_view h = head.substr(at, end - at);
    at = end + 2;
    size_t colon = h.find(':');
    if (colon == std::string_view::npos) continue;
    std::string name(h.substr(0, colon));
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::string_view value = h.substr(colon + 1);
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    request.headers[name] = std::string(value);
  }
  size_t length = 0;
  std::string cl = request.Header("content-length");
  if (!cl.empty()) {
    char* end = nullptr;
    unsigned long long n = std::strtoull(cl.c_str(), &end, 10);
    if (*end || n > kMaxBody) return false;
    length = static_cast<size_t>(n);
  }
  request.body = data.substr(head_end + 4);
  const size_t want = length;
  if (!ReadInto(fd, request.body, kMaxBody, deadline,
                [want](const std::string& d) { return d.size() >= want; }))
    return false;
  request.body.resize(length);
  return true;
}

bool WriteAllTo(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t n = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

namespace {

// The head of a response; without a length when `length` is negative (the body then ends with
// the connection).
std::string HttpHead(int status, std::string_view type, int64_t length,
                     const std::vector<std::pair<std::string, std::string>>& headers) {
  const char* reason = status == 200   ? "OK"
                       : status == 202 ? "Accepted"
                       : status == 400 ? "Bad Request"
                       : status == 403 ? "Forbidden"
                       : status == 404 ? "Not Found"
                       : status == 405 ? "Method Not Allowed"
                                       : "Service Unavailable";
  std::string head = "HTTP/1.1 " + std::to_string(status) + " " + reason +
                     "\r\nContent-Type: " + std::string(type);
  if (length >= 0) head += "\r\nContent-Length: " + std::to_string(length);
  head +=
      "\r\nCache-Control: no-store\r\nConnection: close\r\n"
      "X-Content-Type-Options: nosniff\r\n";
  for (const auto& [name, value] : headers) head += name + ": " + value + "\r\n";
  return head + "\r\n";
}

}  // namespace

bool WriteHttpResponse(int fd, int status, std::string_view type, std::string_view body,
                       const std::vector<std::pair<std::string, std::string>>& headers) {
  return WriteAllTo(fd, HttpHead(status, type, static_cast<int64_t>(body.size()), headers)) &&
         WriteAllTo(fd, body);
}

HttpStream::HttpStream(int fd, int status, std::string_view type) : fd_(fd) {
  buffer_ = HttpHead(status, type, -1, {});
}

void HttpStream::Append(std::string_view text) {
  buffer_.append(text);
  if (buffer_.size() >= kPiece) Flush();
}

void HttpStream::Flush() {
  ok_ = ok_ && WriteAllTo(fd_, buffer_);
  buffer_.clear();
}

bool HttpStream::Finish() {
  Flush();
  std::string().swap(buffer_);
  return ok_;
}

bool HttpCall(int port, const std::string& method, const std::string& path, const std::string& body,
              int timeout_ms, int& status, std::string& answer) {
  const int64_t deadline = NowMs() + timeout_ms;
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return false;
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(port));
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bool ok = false;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 || errno == EINPROGRESS) {
    pollfd p{fd, POLLOUT, 0};
    int err = 0;
    socklen_t len = sizeof err;
    ok = ::poll(&p, 1, timeout_ms) == 1 &&
         ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) == 0 && err == 0;
  }
  std::string data;
  if (ok) {
    std::string request = method + " " + path +
                          " HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Borvane-Client: 1\r\n"
                          "Content-Type: application/x-www-form-urlencoded\r\n"
                          "Content-Length: " +
                          std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
    ok = WriteAllTo(fd, request);
  }
  if (ok) {
    // The answer ends with the connection.
    ReadInto(fd, data, 64 << 20, deadline, [](const std::string&) { return false; });
    size_t head_end = data.find("\r\n\r\n");
    ok = head_end != std::string::npos && data.rfind("HTTP/1.1 ", 0) == 0;
    if (ok) {
      status = std::atoi(data.c_str() + 9);
      answer = data.substr(head_end + 4);
      size_t cl = data.find("Content-Length: ");
      if (cl != std::string::npos && cl < head_end)
        ok = answer.size() == std::strtoull(data.c_str() + cl + 16, nullptr, 10);
    }
  }
  ::close(fd);
  return ok;
}

}  // namespace borvane::platform
