#include "ntfs/attribute_list.h"

#include "ntfs/data_run_list.h"
#include "ntfs/ntfs.h"

bool CNtfs::read_attribute_list(const record_attrib& attribute, std::vector<std::uint8_t>& list,
                                bool keep_cluster_size) {
    list.clear();
    const data_run_list runs = attribute_runs(attribute);
    const std::uint64_t total = run_bytes(runs, cluster_size(), false);
    if (total == 0 || !fits_source(total)) return false;

    list.assign(static_cast<std::size_t>(total), 0);
    std::size_t done = 0;
    for (const data_run& run : runs) {
        for (std::uint64_t i = 0; i < run.num_clusters; ++i) {
            std::uint32_t count = cluster_size();
            if (count > list.size() - done) break;
            if (!read_clusters(run.lcn + i, list.data() + done, count)) break;
            if (!keep_cluster_size) m_cluster_size = static_cast<std::int32_t>(count);
            done += count;
        }
    }
    return true;
}

bool load_attribute_list(CNtfs& ntfs, const record_attrib& attribute, attribute_list_body& body) {
    if (attribute.nonresident()) {
        if (!ntfs.read_attribute_list(attribute, body.clusters)) return false;
        body.entries = body.clusters;
        body.size = static_cast<std::int64_t>(attribute.real_size());
        return true;
    }
    if (attribute.value_length() == 0 || attribute.value_offset() == 0) return false;
    body.entries = attribute.value();
    body.size = attribute.value_length();
    return true;
}
