#include "convert/process/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string_view>
#include <utility>

namespace convert {

namespace {

// Returns the folder of this program, or an empty text.
std::string own_folder() {
    std::array<char, PATH_MAX> text{};
    const ssize_t length = ::readlink("/proc/self/exe", text.data(), text.size());
    if (length <= 0) return {};
    const std::string_view path(text.data(), static_cast<std::size_t>(length));
    const std::size_t slash = path.rfind('/');
    return std::string(path.substr(0, slash == std::string_view::npos ? 0 : slash));
}

std::vector<char*> pointers_to(std::vector<std::string>& words) {
    std::vector<char*> result;
    result.reserve(words.size() + 1);
    for (std::string& word : words)
        result.push_back(word.data());
    result.push_back(nullptr);
    return result;
}

// What the new process does before it runs the program.
class spawn_setup {
public:
    explicit spawn_setup(int standard_output) {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions, standard_output, STDOUT_FILENO);
        ::posix_spawnattr_init(&attributes);
        // This process ignores SIGPIPE, which would let quorvel list to its end for nobody.
        sigset_t defaults;
        ::sigemptyset(&defaults);
        ::sigaddset(&defaults, SIGPIPE);
        ::posix_spawnattr_setsigdefault(&attributes, &defaults);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    }
    ~spawn_setup() {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    spawn_setup(const spawn_setup&) = delete;
    spawn_setup& operator=(const spawn_setup&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

std::string describe_end(int status) {
    if (WIFEXITED(status)) {
        const int code = WEXITSTATUS(status);
        return code == 0 ? std::string() : "ended with status " + std::to_string(code);
    }
    const int number = WTERMSIG(status);
    return "ended by signal " + std::to_string(number) + " (" + ::strsignal(number) + ")";
}

}  // namespace

std::string find_program(const std::string& name) {
    std::vector<std::string> folders = {own_folder()};
    const char* path = std::getenv("PATH");
    std::istringstream stream(path != nullptr ? path : "");
    for (std::string folder; std::getline(stream, folder, ':');)
        folders.push_back(folder.empty() ? "." : folder);
    for (const std::string& folder : folders) {
        std::string candidate = folder;
        candidate.append("/").append(name);
        if (!folder.empty() && ::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return {};
}

child_process::~child_process() {
    if (m_pid >= 0) wait();
    close_output();
}

void child_process::close_output() {
    const int fd = std::exchange(m_output, -1);
    if (fd >= 0) ::close(fd);
}

bool child_process::start(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<std::string> words = arguments;
    words.insert(words.begin(), program);
    const std::vector<char*> argv = pointers_to(words);
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return false;
    m_output = ends[0];
    const spawn_setup setup(ends[1]);
    const int reason = ::posix_spawn(&m_pid, program.c_str(), &setup.actions, &setup.attributes,
                                     argv.data(), environ);
    ::close(ends[1]);
    if (reason == 0) return true;
    m_pid = -1;
    close_output();
    errno = reason;
    return false;
}

std::string child_process::wait() {
    close_output();
    const pid_t pid = std::exchange(m_pid, -1);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return "cannot be waited for";
    }
    return describe_end(status);
}

}  // namespace convert
