// A single-member etcd for one test or benchmark: Debian's etcd binary on
// 127.0.0.1, on ports free when it starts, with its data in a directory of
// the caller's; with TLS, clients reach it over https with a certificate
// made for it (openssl), which "ca.pem" in that directory lets them trust. It can be stopped and started again on the same ports and
// data, and is stopped when destroyed. Every wait is bounded, so a server
// that never comes up fails the caller instead of hanging it.
#pragma once

#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "EtcdClient.h"

namespace vesk::tarnhive::sync::testing {

#ifndef TARNHIVE_ETCD_BINARY
#define TARNHIVE_ETCD_BINARY "/usr/bin/etcd"
#endif

class EtcdServer {
 public:
  // `directory` holds the data ("data") and the server's log ("etcd.log").
  explicit EtcdServer(std::string directory, bool tls = false) : directory_(std::move(directory)), tls_(tls) {
    std::filesystem::create_directories(directory_);
    if (tls_) makeCertificate();
  }
  ~EtcdServer() { stop(); }
  EtcdServer(const EtcdServer&) = delete;
  EtcdServer& operator=(const EtcdServer&) = delete;

  // Starts the server and waits until it answers (at most a minute). The
  // first start picks the ports, trying again with others when the server
  // cannot take them.
  void start() {
    for (int attempt = 0; attempt < 3; ++attempt) {
      if (clientPort_ == 0 || !started_) pickPorts();
      launch();
      if (waitUntilServing()) {
        started_ = true;
        return;
      }
      stop();
      if (started_) break;  // the ports are the data's; do not change them
    }
    throw std::runtime_error("etcd did not start; see " + directory_ + "/etcd.log");
  }

  // Stops the server (SIGTERM, then SIGKILL after half a minute).
  void stop() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    int status = 0;
    while (::waitpid(pid_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, &status, 0);
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    pid_ = -1;
  }

  std::string endpoint() const {
    return (tls_ ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(clientPort_);
  }
  // The certificate that clients must trust (TLS only).
  std::string caFile() const { return directory_ + "/ca.pem"; }

  EtcdOptions options() const {
    EtcdOptions options;
    options.endpoints = {endpoint()};
    if (tls_) options.http.caFile = caFile();
    return options;
  }

 private:
  static int freePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      throw std::runtime_error("no free port");
    }
    ::close(fd);
    return ntohs(address.sin_port);
  }

  // A self-signed certificate for 127.0.0.1, which is its own authority.
  void makeCertificate() {
    const std::string command = "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1"
                                " -addext subjectAltName=IP:127.0.0.1 -keyout '" + directory_ +
                                "/key.pem' -out '" + caFile() + "' >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) throw std::runtime_error("openssl made no certificate");
  }

  void pickPorts() {
    clientPort_ = freePort();
    do {
      peerPort_ = freePort();
    } while (peerPort_ == clientPort_);
  }

  void launch() {
    const std::string client = endpoint();
    const std::string peer = "http://127.0.0.1:" + std::to_string(peerPort_);
    std::vector<std::string> words{TARNHIVE_ETCD_BINARY,
                                   "--name=test",
                                   "--data-dir=" + directory_ + "/data",
                                   "--listen-client-urls=" + client,
                                   "--advertise-client-urls=" + client,
                                   "--listen-peer-urls=" + peer,
                                   "--initial-advertise-peer-urls=" + peer,
                                   "--initial-cluster=test=" + peer,
                                   "--logger=zap",
                                   "--log-outputs=stderr"};
    if (tls_) {
      words.push_back("--cert-file=" + caFile());
      words.push_back("--key-file=" + directory_ + "/key.pem");
    }
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    const std::string log = directory_ + "/etcd.log";
    pid_ = ::fork();
    if (pid_ == 0) {
      const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
      const int in = ::open("/dev/null", O_RDONLY);
      ::dup2(in, 0);
      ::dup2(out, 1);
      ::dup2(out, 2);
      ::setpgid(0, 0);  // a Ctrl-C meant for the test does not reach it first
      ::execv(argv[0], argv.data());
      ::_exit(127);
    }
  }

  bool waitUntilServing() {
    EtcdOptions quick = options();
    quick.http.timeout = 2;
    EtcdClient client(quick);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (std::chrono::steady_clock::now() < deadline) {
      int status = 0;
      if (::waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        return false;
      }
      try {
        client.readPrefix("/", 0);
        return true;
      } catch (const EtcdError&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
    }
    return false;
  }

  std::string directory_;
  bool tls_;
  pid_t pid_ = -1;
  int clientPort_ = 0;
  int peerPort_ = 0;
  bool started_ = false;
};

}  // namespace vesk::tarnhive::sync::testing
