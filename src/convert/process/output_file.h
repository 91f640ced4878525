// The output: a file that appears under its name only when it is complete, or standard output.
//
// The bytes go to a temporary file in the same folder, which is renamed at the end. It is deleted
// if the run fails, or is ended by SIGINT, SIGTERM or SIGHUP.
#pragma once

#include <string>
#include <string_view>

#include "convert/formats/row_writer.h"

namespace convert {

enum class existing_file { keep, replace };

class output_file : public byte_sink {
public:
    // An empty path is standard output.
    output_file(std::string path, existing_file existing);
    // Deletes the temporary file.
    ~output_file() override;
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;

    // Creates the temporary file. Returns false if it cannot be created; failure() says why.
    [[nodiscard]] bool open();
    // The bytes are buffered.
    [[nodiscard]] bool write(std::string_view bytes) override;
    // Writes what is buffered and renames the file. Returns false, without a file under the final
    // name that was not there before, if a byte cannot be written or if the name exists and is to
    // be kept.
    [[nodiscard]] bool commit();

    // The name of the temporary file. Empty for standard output.
    const std::string& temporary_path() const { return m_temporary; }
    std::string failure() const { return m_failure; }

private:
    bool flush();
    bool rename_to_path();
    bool fail(const std::string& what);
    bool fail_with_reason(const std::string& what);

    std::string m_path;
    existing_file m_existing;
    std::string m_temporary;
    int m_fd = -1;
    std::string m_buffer;
    std::string m_failure;
};

}  // namespace convert
