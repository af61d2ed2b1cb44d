#include "rehearsal/ReleaseServer.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace InstallerCore::Rehearsal {

namespace {

constexpr int inheritedListener = 3;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error("release server: " + what);
}

std::string readWhole(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// A path as nginx's configuration takes it.
std::string quoted(const std::filesystem::path& path) {
    const std::string& text = path.native();
    if (text.find_first_of("\"\\$\n") != std::string::npos) {
        fail("cannot use the path " + text);
    }
    return '"' + text + '"';
}

// With nginx's master process: without one it crashes on the socket that it inherits.
std::string configuration(const ReleaseServer::Options& options, std::uint16_t port) {
    const auto file = [&](const char* name) { return quoted(options.directory / name); };
    std::ostringstream text;
    text << "daemon off;\n"
         << (::geteuid() == 0 ? "user root;\n" : "") << "pid " << file("nginx.pid") << ";\n"
         << "error_log " << file("error.log") << ";\n"
         << "events { worker_connections 256; }\n"
         << "http {\n";
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        text << "  " << kind << "_temp_path " << file(kind) << ";\n";
    }
    text << "  log_format requests escape=none '$request $status [$http_range] [$http_if_range]';\n"
         << "  access_log " << file("requests.log") << " requests;\n"
         << "  log_format traffic escape=none '$uri $status $body_bytes_sent';\n"
         << "  access_log " << file("traffic.log") << " traffic;\n"
         << "  default_type application/octet-stream;\n"
         << "  sendfile on;\n"
         << "  port_in_redirect off;\n" // clients know the server by its public address
         << "  server {\n"
         << "    listen 127.0.0.1:" << port << " ssl" << (options.http2 ? " http2" : "") << ";\n"
         << "    ssl_certificate " << file("server.pem") << ";\n"
         << "    ssl_certificate_key " << file("server.key") << ";\n"
         << "    ssl_protocols TLSv1.2 TLSv1.3;\n"
         << "    root " << quoted(options.documentRoot) << ";\n"
         << options.locations << "\n  }\n}\n";
    return text.str();
}

class FileActions {
public:
    FileActions() { ::posix_spawn_file_actions_init(&actions_); }

    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }

    [[nodiscard]] posix_spawn_file_actions_t* get() noexcept { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

// nginx takes over listening sockets that a variable of its environment names, as it does from itself when
// its binary is upgraded.
pid_t startNginx(const std::filesystem::path& directory, const LoopbackListener& listener, bool onlyCheck) {
    const std::string configurationFile = directory / "nginx.conf";
    const std::string output = directory / "output.log";
    std::string sockets = "NGINX=" + std::to_string(inheritedListener) + ";";
    std::array environment = {sockets.data(), static_cast<char*>(nullptr)};
    std::vector<std::string> words = {"setpriv", "--pdeathsig",      "TERM", "/usr/sbin/nginx",
                                      "-p",      directory.native(), "-c",   configurationFile};
    if (onlyCheck) {
        words.emplace_back("-t");
    }
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);

    FileActions actions;
    ::posix_spawn_file_actions_addopen(actions.get(), STDOUT_FILENO, output.c_str(),
                                       O_WRONLY | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
    ::posix_spawn_file_actions_adddup2(actions.get(), STDOUT_FILENO, STDERR_FILENO);
    ::posix_spawn_file_actions_adddup2(actions.get(), listener.descriptor(), inheritedListener);
    pid_t process = -1;
    const int error = ::posix_spawn(&process, "/usr/bin/setpriv", actions.get(), nullptr, arguments.data(),
                                    environment.data());
    if (error != 0) {
        fail("cannot start setpriv: " + std::generic_category().message(error));
    }
    return process;
}

int exitStatus(pid_t process) noexcept {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

// The socket listens before nginx runs: no other process can take the port, and nobody has to wait.
ReleaseServer::ReleaseServer(const Options& options)
    : directory_(options.directory),
      listener_(LoopbackListener::usualBacklog, options.port),
      port_(listener_.port()) {
    writePrivateFile(directory_ / "server.pem", options.certificate.certificate);
    writePrivateFile(directory_ / "server.key", options.certificate.privateKey);
    writePrivateFile(directory_ / "nginx.conf", configuration(options, port_));
    if (exitStatus(startNginx(directory_, listener_, true)) != 0) {
        fail("nginx refuses its configuration: " + readWhole(directory_ / "output.log"));
    }
    process_ = startNginx(directory_, listener_, false);
    listener_.close(); // nginx has its own
}

ReleaseServer::~ReleaseServer() {
    end();
}

std::vector<std::string> ReleaseServer::stop() {
    end();
    std::vector<std::string> requests;
    std::ifstream log(directory_ / "requests.log");
    for (std::string line; std::getline(log, line);) {
        requests.push_back(line);
    }
    return requests;
}

void ReleaseServer::end() noexcept {
    if (process_ < 0) {
        return;
    }
    ::kill(process_, SIGTERM);
    static_cast<void>(exitStatus(process_));
    process_ = -1;
}

} // namespace InstallerCore::Rehearsal
