// The HTTP transport of the etcd client: JSON requests posted with libcurl,
// over plain HTTP or TLS, with one reused connection for short calls and a
// separate one for a streamed reply (a watch). Single-threaded: one
// HttpClient serves one caller at a time.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vesk::tarnhive::sync {

struct HttpOptions {
  double timeout = 10;   // seconds for connecting, and for a whole short call
  std::string caFile;    // certificate authorities to trust (TLS); empty: the system's
  std::string certFile;  // client certificate (TLS), with its key in keyFile
  std::string keyFile;
};

struct HttpReply {
  long status = 0;  // the HTTP status
  std::string body;
};

// No reply was had: the server could not be reached, the connection broke,
// the time-out passed or TLS failed. The message names the URL and cause.
class HttpFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class HttpClient {
 public:
  explicit HttpClient(HttpOptions options);
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  // Posts `body` (JSON) and returns the whole reply. `authorization`, when
  // not empty, is sent as the Authorization header. Throws HttpFailure.
  HttpReply post(const std::string& url, std::string_view body, const std::string& authorization);

  // Posts `body` and hands each line of a 200 reply to `onLine` as it
  // arrives, with no time limit on the reply, until the server ends it,
  // `onLine` returns false or `stopping` returns true (it is asked about
  // once a second). A reply of another status is returned whole in `body`.
  // Throws HttpFailure when the connection fails or breaks, and whatever
  // `onLine` or `stopping` throws (after ending the transfer).
  HttpReply stream(const std::string& url, std::string_view body,
                   const std::string& authorization,
                   const std::function<bool(std::string_view line)>& onLine,
                   const std::function<bool()>& stopping);

 private:
  // Sets the options every request shares; returns the header list, which
  // the caller frees after the request.
  curl_slist* prepare(CURL* handle, const std::string& url, std::string_view body,
                      const std::string& authorization);

  HttpOptions options_;
  CURL* shortCalls_;  // reused by post(), so its connection is kept

};

}  // namespace vesk::tarnhive::sync
