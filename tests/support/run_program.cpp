#include "support/run_program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string_view>

extern char** environ;

namespace support {

namespace {

constexpr int could_not_start = 127;

// Returns the environment of the new process as "NAME=value" strings.
std::vector<std::string> environment_words(const program_options& options) {
    std::map<std::string, std::string> values;
    for (char** word = environ; !options.clear_environment && *word != nullptr; ++word) {
        const std::string_view text(*word);
        const std::size_t equals = text.find('=');
        if (equals != std::string_view::npos) {
            values[std::string(text.substr(0, equals))] = text.substr(equals + 1);
        }
    }
    for (const auto& [name, value] : options.environment) {
        values[name] = value;
    }
    std::vector<std::string> words;
    for (const auto& [name, value] : values) {
        words.push_back(name + "=" + value);
    }
    return words;
}

std::vector<char*> pointers_to(std::vector<std::string>& words) {
    std::vector<char*> result;
    for (std::string& word : words) {
        result.push_back(word.data());
    }
    result.push_back(nullptr);
    return result;
}

struct channel {
    int read_end = -1, write_end = -1;
    channel() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("can't make a pipe");
        }
        read_end = ends[0];
        write_end = ends[1];
    }
    ~channel() {
        ::close(read_end);
        close_write_end();
    }
    channel(const channel&) = delete;
    channel& operator=(const channel&) = delete;
    void close_write_end() {
        if (write_end >= 0) {
            ::close(write_end);
            write_end = -1;
        }
    }
};

// Creates an unnamed file with `text`, positioned at its start.
int standard_input_file(const std::string& text) {
    const int fd = ::memfd_create("standard input", MFD_CLOEXEC);
    if (fd < 0 || ::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        ::lseek(fd, 0, SEEK_SET) != 0) {
        throw std::runtime_error("can't make the standard input");
    }
    return fd;
}

// Reads both pipes until both are closed, so that neither can fill up.
void collect(const channel& out, const channel& err, program_result& result) {
    pollfd ends[2] = {{out.read_end, POLLIN, 0}, {err.read_end, POLLIN, 0}};
    std::string* texts[2] = {&result.standard_output, &result.standard_error};
    std::vector<char> buffer(65536);
    while (ends[0].fd >= 0 || ends[1].fd >= 0) {
        if (::poll(ends, 2, -1) < 0 && errno != EINTR) {
            throw std::runtime_error("can't wait for output");
        }
        for (int i = 0; i < 2; ++i) {
            if (ends[i].fd < 0 || ends[i].revents == 0) {
                continue;
            }
            const ssize_t taken = ::read(ends[i].fd, buffer.data(), buffer.size());
            if (taken > 0) {
                texts[i]->append(buffer.data(), static_cast<std::size_t>(taken));
            } else if (taken == 0 || errno != EINTR) {
                ends[i].fd = -1;
            }
        }
    }
}

// Starts `program` with the arguments `words`, of which the first is its name.
program_result run_words(std::vector<std::string> words, const std::string& program,
                         const program_options& options) {
    std::vector<std::string> environment = environment_words(options);
    const std::vector<char*> argv = pointers_to(words), envp = pointers_to(environment);

    channel out, err, start;
    const int input = standard_input_file(options.standard_input);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(input, 0);
        ::dup2(out.write_end, 1);
        ::dup2(err.write_end, 2);
        ::signal(SIGPIPE, SIG_DFL);
        ::alarm(options.time_limit);
        if (options.address_space != 0) {
            const rlimit limit{options.address_space, options.address_space};
            ::setrlimit(RLIMIT_AS, &limit);
        }
        if (options.working_directory.empty() || ::chdir(options.working_directory.c_str()) == 0) {
            ::execve(program.c_str(), argv.data(), envp.data());
        }
        const int reason = errno;
        if (::write(start.write_end, &reason, sizeof reason) < 0) {
            ::_exit(could_not_start);
        }
        ::_exit(could_not_start);
    }
    ::close(input);
    out.close_write_end();
    err.close_write_end();
    start.close_write_end();
    if (child < 0) {
        throw std::runtime_error("can't start a process");
    }
    program_result result;
    collect(out, err, result);
    int status = 0;
    rusage used{};
    while (::wait4(child, &status, 0, &used) < 0 && errno == EINTR) {
    }
    result.peak_memory = static_cast<std::uint64_t>(used.ru_maxrss) * 1024;
    int reason = 0;
    if (::read(start.read_end, &reason, sizeof reason) > 0) {
        throw std::runtime_error("can't run " + program + ": " + std::strerror(reason));
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return result;
}

}  // namespace

program_result run_program(const std::string& program, const std::vector<std::string>& arguments,
                           const program_options& options) {
    std::vector<std::string> words = {options.argument_zero.empty() ? program
                                                                    : options.argument_zero};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run_words(words, program, options);
}

std::vector<std::string> runner() {
    const char* text = ::getenv(runner_variable);
    std::istringstream stream(text != nullptr ? text : "");
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    if (!words.empty() && words[0].find('/') == std::string::npos)
        words[0] = find_program(words[0]);
    return words;
}

std::vector<std::string> built_program(const std::string& program) {
    std::vector<std::string> words = runner();
    words.push_back(program);
    return words;
}

program_result run_built_program(const std::string& program,
                                 const std::vector<std::string>& arguments,
                                 const program_options& options) {
    std::vector<std::string> words = built_program(program);
    if (words.size() == 1) return run_program(program, arguments, options);
    if (!options.argument_zero.empty())
        throw std::runtime_error("a runner can't give the program another name");
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run_words(words, words[0], options);
}

std::string find_program(const std::string& name) {
    const char* path = ::getenv("PATH");
    std::istringstream directories(std::string(path != nullptr ? path : "") + ":/usr/sbin:/sbin");
    for (std::string directory; std::getline(directories, directory, ':');) {
        const std::string candidate = directory + "/" + name;
        if (!directory.empty() && ::access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return {};
}

}  // namespace support
