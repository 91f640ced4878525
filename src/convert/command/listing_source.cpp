#include "convert/command/listing_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "convert/listing/listing_form.h"

namespace convert {

listing_source::~listing_source() {
    if (m_fd >= 0) ::close(m_fd);
}

std::string listing_source::open(const command_line& line) {
    return line.input.empty() ? start_quorvel(line.user_words) : open_file(line.input);
}

std::string listing_source::open_file(const std::string& path) {
    m_name = path;
    m_fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_fd < 0) return "cannot open " + path + ": " + std::strerror(errno);
    m_bytes = std::make_unique<descriptor_source>(m_fd);
    return {};
}

std::string listing_source::start_quorvel(const std::vector<std::string>& user_words) {
    m_name = "the output of quorvel";
    const std::string program = find_program("quorvel");
    if (program.empty()) return "quorvel is neither beside quorvel-convert nor on the path";
    const std::string separator = make_separator();
    if (separator.empty()) return "the system has no random bytes for a separator";
    std::vector<std::string> words = listing_words(separator);
    words.insert(words.end(), user_words.begin(), user_words.end());
    if (!m_quorvel.start(program, words))
        return "cannot run " + program + ": " + std::strerror(errno);
    m_running = true;
    m_bytes = std::make_unique<descriptor_source>(m_quorvel.output());
    return {};
}

std::string listing_source::finish() {
    if (!std::exchange(m_running, false)) return {};
    const std::string failure = m_quorvel.wait();
    return failure.empty() ? failure : "quorvel " + failure;
}

}  // namespace convert
