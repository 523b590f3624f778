// libcurl behind HttpClient. Short calls reuse one handle, and so one kept
// connection; a stream gets a handle of its own for its life. A streamed
// reply is cut into lines here, since the etcd gateway ends each message of
// a watch with a line feed and never puts one inside a message.
#include "HttpClient.h"

#include <exception>
#include <memory>
#include <mutex>

namespace vesk::tarnhive::sync {
namespace {

void initialiseOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

struct HandleDeleter {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct HeadersDeleter {
  void operator()(curl_slist* headers) const { curl_slist_free_all(headers); }
};

std::size_t appendBody(char* data, std::size_t size, std::size_t count, void* target) {
  static_cast<std::string*>(target)->append(data, size * count);
  return size * count;
}

// What a streamed request keeps between libcurl's calls.
struct StreamState {
  CURL* handle;
  const std::function<bool(std::string_view)>* onLine;
  const std::function<bool()>* stopping;
  std::string pending;  // bytes of a line not yet ended, or a whole error reply
  bool ended = false;   // onLine or stopping ended the stream
  std::exception_ptr thrown;  // what they threw; no exception crosses libcurl
};

std::size_t streamBody(char* data, std::size_t size, std::size_t count, void* target) {
  auto& state = *static_cast<StreamState*>(target);
  state.pending.append(data, size * count);
  long status = 0;
  curl_easy_getinfo(state.handle, CURLINFO_RESPONSE_CODE, &status);
  if (status != 200) return size * count;  // kept whole for the caller
  std::size_t start = 0;
  try {
    for (std::size_t end; (end = state.pending.find('\n', start)) != std::string::npos; start = end + 1) {
      const std::string_view line(state.pending.data() + start, end - start);
      if (!line.empty() && !(*state.onLine)(line)) {
        state.ended = true;
        return 0;  // ends the transfer
      }
    }
  } catch (...) {
    state.thrown = std::current_exception();
    state.ended = true;
    return 0;
  }
  state.pending.erase(0, start);
  return size * count;
}

int streamProgress(void* target, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  auto& state = *static_cast<StreamState*>(target);
  try {
    if (!(*state.stopping)()) return 0;
  } catch (...) {
    state.thrown = std::current_exception();
  }
  state.ended = true;
  return 1;
}

[[noreturn]] void failed(const std::string& url, CURLcode code, const char* detail) {
  std::string message = url + ": " + curl_easy_strerror(code);
  if (detail[0] != '\0') message += std::string(" (") + detail + ")";
  throw HttpFailure(message);
}

}  // namespace

HttpClient::HttpClient(HttpOptions options) : options_(std::move(options)) {
  initialiseOnce();
  shortCalls_ = curl_easy_init();
  if (shortCalls_ == nullptr) throw HttpFailure("libcurl could not make a handle");
}

HttpClient::~HttpClient() { curl_easy_cleanup(shortCalls_); }

curl_slist* HttpClient::prepare(CURL* handle, const std::string& url, std::string_view body,
                                const std::string& authorization) {
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_POST, 1L);
  curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(handle, CURLOPT_COPYPOSTFIELDS, body.data());
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options_.timeout * 1000));
  // A peer that vanishes without closing the connection (a machine that
  // went down) is noticed by TCP keep-alive, which matters for a watch
  // that may rightly stay silent for hours.
  curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(handle, CURLOPT_TCP_KEEPIDLE, 30L);
  curl_easy_setopt(handle, CURLOPT_TCP_KEEPINTVL, 10L);
  if (!options_.caFile.empty()) curl_easy_setopt(handle, CURLOPT_CAINFO, options_.caFile.c_str());
  if (!options_.certFile.empty()) curl_easy_setopt(handle, CURLOPT_SSLCERT, options_.certFile.c_str());
  if (!options_.keyFile.empty()) curl_easy_setopt(handle, CURLOPT_SSLKEY, options_.keyFile.c_str());
  curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
  if (!authorization.empty()) {
    headers = curl_slist_append(headers, ("Authorization: " + authorization).c_str());
  }
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  return headers;
}

HttpReply HttpClient::post(const std::string& url, std::string_view body,
                           const std::string& authorization) {
  CURL* handle = shortCalls_;
  std::unique_ptr<curl_slist, HeadersDeleter> headers(prepare(handle, url, body, authorization));
  HttpReply reply;
  char detail[CURL_ERROR_SIZE] = "";
  curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, detail);
  curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(options_.timeout * 1000));
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, appendBody);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &reply.body);
  const CURLcode code = curl_easy_perform(handle);
  curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, nullptr);
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, nullptr);
  if (code != CURLE_OK) failed(url, code, detail);
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &reply.status);
  return reply;
}

HttpReply HttpClient::stream(const std::string& url, std::string_view body,
                             const std::string& authorization,
                             const std::function<bool(std::string_view)>& onLine,
                             const std::function<bool()>& stopping) {
  std::unique_ptr<CURL, HandleDeleter> handle(curl_easy_init());
  if (!handle) throw HttpFailure("libcurl could not make a handle");
  std::unique_ptr<curl_slist, HeadersDeleter> headers(prepare(handle.get(), url, body, authorization));
  StreamState state{handle.get(), &onLine, &stopping, {}, false, nullptr};
  char detail[CURL_ERROR_SIZE] = "";
  curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, detail);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, streamBody);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &state);
  curl_easy_setopt(handle.get(), CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(handle.get(), CURLOPT_XFERINFOFUNCTION, streamProgress);
  curl_easy_setopt(handle.get(), CURLOPT_XFERINFODATA, &state);
  const CURLcode code = curl_easy_perform(handle.get());
  HttpReply reply;
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &reply.status);
  if (state.thrown) std::rethrow_exception(state.thrown);
  if (state.ended) return reply;
  if (code != CURLE_OK) failed(url, code, detail);
  if (reply.status != 200) reply.body = std::move(state.pending);
  return reply;
}

}  // namespace vesk::tarnhive::sync
