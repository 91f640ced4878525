#include "convert/formats/html_format.h"

#include "convert/page/page.h"

namespace convert {

bool html_writer::finish() {
    m_summary.finish();
    return draw_page(m_head, m_summary,
                     [this](std::string_view part) { return m_sink.write(part); });
}

}  // namespace convert
