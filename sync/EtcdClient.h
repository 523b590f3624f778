// A client of etcd's v3 API through its JSON gateway: reading every key
// under a prefix at one revision, transactions, compaction and a watch of a
// prefix. It tries the endpoints in turn, keeps the one that answered, and
// signs in with a user name and password when given them (again when the
// server says the token has expired). Keys and values are bytes here; the
// base64 of the wire form stays inside.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "HttpClient.h"

namespace vesk::tarnhive::sync {

struct EtcdOptions {
  std::vector<std::string> endpoints;  // "http://host:port" or "https://..."
  HttpOptions http;
  std::string user;  // empty: no authentication
  std::string password;
};

// How a call failed, which decides what a caller does next.
enum class EtcdFailure {
  kUnavailable,  // no endpoint answered, or the cluster could not serve: try again later
  kHistoryGone,  // the revision asked for was compacted away, or is not yet reached
  kRejected,     // the request was refused (permissions, limits, bad input)
};

class EtcdError : public std::runtime_error {
 public:
  EtcdError(EtcdFailure failure, const std::string& message, int grpcCode = 0)
      : std::runtime_error(message), failure_(failure), grpcCode_(grpcCode) {}
  EtcdFailure failure() const noexcept { return failure_; }
  // The gRPC status code of the server's reply; 0 when there was none.
  int grpcCode() const noexcept { return grpcCode_; }

 private:
  EtcdFailure failure_;
  int grpcCode_;
};

struct KeyValue {
  std::string key;
  std::string value;
  std::int64_t modRevision = 0;
};

struct Snapshot {
  std::int64_t revision = 0;  // the revision the keys were read at
  std::string clusterId;      // the cluster that answered
  std::vector<KeyValue> keys;  // in key order
};

struct WatchEvent {
  bool deleted = false;
  KeyValue kv;  // the key's new value and revision (for a deletion, no value)
};

// One operation of a transaction.
struct TxnOperation {
  std::string key;
  std::optional<std::string> value;  // nothing: delete the key
};

class EtcdClient {
 public:
  explicit EtcdClient(EtcdOptions options);
  EtcdClient(const EtcdClient&) = delete;
  EtcdClient& operator=(const EtcdClient&) = delete;

  // Every key that starts with `prefix`, read at `revision` (0: the current
  // one), page by page at that one revision.
  Snapshot readPrefix(const std::string& prefix, std::int64_t revision);

  // Applies `operations` in one transaction, provided that no key starting
  // with `prefix` has changed after revision `readAt`. The transaction's
  // revision, or nothing when that condition failed.
  std::optional<std::int64_t> commitIfUnchanged(const std::string& prefix, std::int64_t readAt,
                                                const std::vector<TxnOperation>& operations);

  // Discards the history before `revision`.
  void compact(std::int64_t revision);

  // The events of one revision, handed over together.
  using RevisionHandler = std::function<void(std::int64_t revision, const std::vector<WatchEvent>&)>;

  // Watches the keys starting with `prefix` from `startRevision` on and
  // hands the events to `onRevision`, one call per revision, in revision
  // order (etcd never splits a revision's events between two replies).
  // Returns when the stream ends (the server went away cleanly) or
  // `stopping` returns true. Throws EtcdError, kHistoryGone when
  // `startRevision` was compacted away, and whatever `onRevision` throws.
  void watchPrefix(const std::string& prefix, std::int64_t startRevision,
                   const RevisionHandler& onRevision, const std::function<bool()>& stopping);

  // The end of the range of keys that start with `prefix` (etcd's form of
  // a prefix query).
  static std::string prefixEnd(const std::string& prefix);

 private:
  // Posts `request` to `path` on the endpoints in turn; the reply's JSON.
  nlohmann::json call(const std::string& path, const nlohmann::json& request);
  // Runs `attempt` at each endpoint in turn until one answers, signing in
  // first when needed and again once when the token has expired.
  template <class Attempt>
  auto atSomeEndpoint(const Attempt& attempt) -> decltype(attempt());
  nlohmann::json postOnce(const std::string& path, const std::string& body);
  void authenticate();
  void watchOnce(const std::string& body, const RevisionHandler& onRevision,
                 const std::function<bool()>& stopping);

  EtcdOptions options_;
  HttpClient http_;
  std::size_t endpoint_ = 0;  // the endpoint that answered last
  std::string token_;         // the authentication token, once signed in
};

// The error that an etcd error reply stands for ({"error": ..., "code":
// gRPC code, "message": ...}); `where` names the call.
EtcdError errorOfReply(const nlohmann::json& reply, const std::string& where);

}  // namespace vesk::tarnhive::sync
