// etcd's JSON gateway (the /v3/ paths of etcd 3.4 and later). Its 64-bit
// numbers arrive as decimal strings and its keys and values as base64;
// fields that hold their default (a put event's type, an empty value) are
// left out of its replies.
#include "EtcdClient.h"

#include "Encoding.h"

namespace vesk::tarnhive::sync {
namespace {

using Json = nlohmann::json;
using tool::fromBase64;
using tool::toBase64;

// gRPC status codes the gateway reports.
constexpr int kDeadlineExceeded = 4;
constexpr int kOutOfRange = 11;
constexpr int kUnavailableCode = 14;
constexpr int kUnauthenticated = 16;

constexpr int kPageSize = 1000;  // keys per range request

std::int64_t numberOf(const Json& json, const char* field) {
  if (!json.is_object() || !json.contains(field)) return 0;
  const Json& value = json[field];
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (value.is_string()) return std::stoll(value.get<std::string>());
  return 0;
}

std::string bytesOf(const Json& json, const char* field) {
  if (!json.contains(field)) return {};
  const auto bytes = fromBase64(json[field].get<std::string>());
  if (!bytes) throw EtcdError(EtcdFailure::kUnavailable, "etcd sent a key or value that is not base64");
  return *bytes;
}

KeyValue keyValueOf(const Json& kv) {
  return KeyValue{bytesOf(kv, "key"), bytesOf(kv, "value"), numberOf(kv, "mod_revision")};
}

Json parseReply(const std::string& text, long status, const std::string& where) {
  try {
    return Json::parse(text);
  } catch (const Json::exception&) {  // parse_error, or out_of_range for a huge number
    const EtcdFailure failure = status >= 500 ? EtcdFailure::kUnavailable : EtcdFailure::kRejected;
    throw EtcdError(failure, where + ": HTTP " + std::to_string(status) + ": " + text.substr(0, 200));
  }
}

// The gateway reports an error as {"error": text, "code": n, "message":
// text} for a call, and as {"error": {"grpc_code": n, "message": text}} in
// a stream.
bool isError(const Json& reply) { return reply.is_object() && reply.contains("error"); }

}  // namespace

EtcdError errorOfReply(const Json& reply, const std::string& where) {
  const Json& detail = reply.contains("error") && reply["error"].is_object() ? reply["error"] : reply;
  const int code = static_cast<int>(detail.contains("grpc_code") ? numberOf(detail, "grpc_code")
                                                                  : numberOf(detail, "code"));
  std::string message = detail.value("message", "");
  if (message.empty() && detail.contains("error") && detail["error"].is_string()) {
    message = detail["error"].get<std::string>();
  }
  EtcdFailure failure = EtcdFailure::kRejected;
  if (code == kUnavailableCode || code == kDeadlineExceeded) failure = EtcdFailure::kUnavailable;
  const bool history = message.find("compacted") != std::string::npos ||
                       message.find("future revision") != std::string::npos;
  if (code == kOutOfRange && history) failure = EtcdFailure::kHistoryGone;
  return EtcdError(failure, where + ": " + message + " (code " + std::to_string(code) + ")", code);
}

EtcdClient::EtcdClient(EtcdOptions options)
    : options_(std::move(options)), http_(options_.http) {
  if (options_.endpoints.empty()) throw EtcdError(EtcdFailure::kRejected, "no etcd endpoint given");
  for (std::string& endpoint : options_.endpoints) {
    while (!endpoint.empty() && endpoint.back() == '/') endpoint.pop_back();
  }
}

std::string EtcdClient::prefixEnd(const std::string& prefix) {
  std::string end = prefix;
  while (!end.empty() && static_cast<unsigned char>(end.back()) == 0xff) end.pop_back();
  if (end.empty()) return std::string(1, '\0');  // every key from `prefix` on
  end.back() = static_cast<char>(static_cast<unsigned char>(end.back()) + 1);
  return end;
}

template <class Attempt>
auto EtcdClient::atSomeEndpoint(const Attempt& attempt) -> decltype(attempt()) {
  std::string lastFailure;
  for (std::size_t tried = 0; tried < options_.endpoints.size(); ++tried) {
    try {
      if (!options_.user.empty() && token_.empty()) authenticate();
      try {
        return attempt();
      } catch (const EtcdError& error) {
        if (error.grpcCode() != kUnauthenticated || options_.user.empty()) throw;
        authenticate();  // the token expired: sign in again, once
        return attempt();
      }
    } catch (const HttpFailure& failure) {
      lastFailure = failure.what();
      endpoint_ = (endpoint_ + 1) % options_.endpoints.size();
    }
  }
  throw EtcdError(EtcdFailure::kUnavailable, "no etcd endpoint answered; last: " + lastFailure);
}

Json EtcdClient::postOnce(const std::string& path, const std::string& body) {
  const std::string url = options_.endpoints[endpoint_] + path;
  const HttpReply reply = http_.post(url, body, token_);
  Json json = parseReply(reply.body, reply.status, url);
  if (isError(json) || reply.status != 200) throw errorOfReply(json, url);
  return json;
}

Json EtcdClient::call(const std::string& path, const Json& request) {
  const std::string body = request.dump();
  return atSomeEndpoint([&] { return postOnce(path, body); });
}

void EtcdClient::authenticate() {
  token_.clear();
  const Json request{{"name", options_.user}, {"password", options_.password}};
  const Json reply = postOnce("/v3/auth/authenticate", request.dump());
  token_ = reply.value("token", "");
  if (token_.empty()) throw EtcdError(EtcdFailure::kRejected, "etcd gave no authentication token");
}

Snapshot EtcdClient::readPrefix(const std::string& prefix, std::int64_t revision) {
  Snapshot snapshot;
  const std::string end = prefixEnd(prefix);
  std::string from = prefix;
  for (;;) {
    Json request{{"key", toBase64(from)}, {"range_end", toBase64(end)}, {"limit", kPageSize}};
    if (revision > 0) request["revision"] = revision;
    const Json reply = call("/v3/kv/range", request);
    if (revision == 0) revision = numberOf(reply["header"], "revision");
    snapshot.revision = revision;
    snapshot.clusterId = reply["header"].value("cluster_id", "");
    if (reply.contains("kvs")) {
      for (const Json& kv : reply["kvs"]) snapshot.keys.push_back(keyValueOf(kv));
    }
    if (!reply.value("more", false) || snapshot.keys.empty()) return snapshot;
    from = snapshot.keys.back().key + '\0';  // the next page, at the same revision
  }
}

std::optional<std::int64_t> EtcdClient::commitIfUnchanged(const std::string& prefix, std::int64_t readAt,
                                                          const std::vector<TxnOperation>& operations) {
  Json success = Json::array();
  for (const TxnOperation& operation : operations) {
    if (operation.value) {
      success.push_back({{"request_put", {{"key", toBase64(operation.key)}, {"value", toBase64(*operation.value)}}}});
    } else {
      success.push_back({{"request_delete_range", {{"key", toBase64(operation.key)}}}});
    }
  }
  const Json unchanged{{"target", "MOD"},       {"result", "LESS"},
                       {"key", toBase64(prefix)}, {"range_end", toBase64(prefixEnd(prefix))},
                       {"mod_revision", readAt + 1}};
  const Json reply = call("/v3/kv/txn", Json{{"compare", Json::array({unchanged})}, {"success", success}});
  if (!reply.value("succeeded", false)) return std::nullopt;
  return numberOf(reply["header"], "revision");
}

void EtcdClient::compact(std::int64_t revision) {
  call("/v3/kv/compaction", Json{{"revision", revision}, {"physical", true}});
}

void EtcdClient::watchPrefix(const std::string& prefix, std::int64_t startRevision,
                             const RevisionHandler& onRevision, const std::function<bool()>& stopping) {
  const Json request{{"create_request",
                      {{"key", toBase64(prefix)}, {"range_end", toBase64(prefixEnd(prefix))},
                       {"start_revision", startRevision}}}};
  const std::string body = request.dump();
  // Another endpoint is tried only while nothing has been handed over: once
  // events were, the caller starts the next watch from where it got to.
  bool delivered = false;
  const RevisionHandler counted = [&](std::int64_t revision, const std::vector<WatchEvent>& events) {
    delivered = true;
    onRevision(revision, events);
  };
  atSomeEndpoint([&] {
    if (delivered) throw EtcdError(EtcdFailure::kUnavailable, "the watch stream broke");
    watchOnce(body, counted, stopping);
  });
}

void EtcdClient::watchOnce(const std::string& body, const RevisionHandler& onRevision,
                           const std::function<bool()>& stopping) {
  const std::string url = options_.endpoints[endpoint_] + "/v3/watch";
  const auto onLine = [&](std::string_view line) {
    const Json message = parseReply(std::string(line), 200, url);
    if (isError(message)) throw errorOfReply(message, url);
    const Json& result = message["result"];
    if (result.value("canceled", false)) {
      if (numberOf(result, "compact_revision") > 0) {
        throw EtcdError(EtcdFailure::kHistoryGone,
                        url + ": history compacted up to revision " +
                            std::to_string(numberOf(result, "compact_revision")));
      }
      throw EtcdError(EtcdFailure::kRejected, url + ": watch cancelled: " + result.value("cancel_reason", ""));
    }
    if (!result.contains("events")) return true;
    std::vector<WatchEvent> events;
    for (const Json& event : result["events"]) {
      WatchEvent next{event.value("type", "PUT") == "DELETE", keyValueOf(event["kv"])};
      if (!events.empty() && events.back().kv.modRevision != next.kv.modRevision) {
        onRevision(events.back().kv.modRevision, events);
        events.clear();
      }
      events.push_back(std::move(next));
    }
    if (!events.empty()) onRevision(events.back().kv.modRevision, events);
    return true;
  };
  const HttpReply reply = http_.stream(url, body, token_, onLine, stopping);
  if (reply.status != 200 && !stopping()) {
    throw errorOfReply(parseReply(reply.body, reply.status, url), url);
  }
}

}  // namespace vesk::tarnhive::sync
