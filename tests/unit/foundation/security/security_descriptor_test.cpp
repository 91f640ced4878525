#include "foundation/security/security_descriptor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "support/sds.h"

namespace {

using support::bytes;

std::string sid_text(const bytes& sid) {
    std::string text = "old";
    sid_to_string(text, sid);
    return text;
}

std::string checked_text(ql::bytes sid, std::int64_t room) {
    std::string text = "old";
    sid_to_string_checked(text, sid, room);
    return text;
}

std::string name_of(const bytes& sid) {
    std::ostringstream stream;
    sid_display_name(stream, sid);
    return stream.str();
}

std::string rights(std::uint32_t mask) {
    std::string text = "old";
    access_mask_text(mask, text);
    return text;
}

std::string descriptor_text(const bytes& descriptor, const std::string& prefix = "") {
    std::ostringstream stream;
    security_descriptor_text(stream, descriptor, static_cast<std::uint32_t>(descriptor.size()),
                             prefix);
    return stream.str();
}

// Returns "sid / type / access / name" for each row, in key order.
std::vector<std::string> rows_at(const bytes& descriptor, std::uint32_t acl_offset) {
    security_ace_rows rows;
    rows["old"];
    const bool found = acl_rows(rows, descriptor, acl_offset);
    EXPECT_EQ(found, !rows.empty());
    std::vector<std::string> lines;
    for (const auto& [key, row] : rows) {
        EXPECT_EQ(key, row.sid + row.ace_type);
        lines.push_back(row.sid + " / " + row.ace_type + " / " + row.access + " / " + row.name);
    }
    return lines;
}

using lines = std::vector<std::string>;

TEST(SidToString, WritesRevisionAuthorityAndSubAuthoritiesInDecimal) {
    for (const char* text : {"S-1-1-0", "S-1-5-18", "S-1-5-32-544", "S-1-5-21-1-22-4294967295-500",
                             "S-1-0-0", "S-1-255-2147483648"}) {
        EXPECT_EQ(sid_text(support::sid(text)), text);
    }
    EXPECT_EQ(sid_text({255, 1, 0, 0, 0, 0, 0, 200, 1, 0, 0, 0}), "S-255-200-1");
}

TEST(SidToString, UsesTheLastByteOfTheAuthorityOnly) {
    EXPECT_EQ(sid_text(support::sid(0x123456789A05, {18})), "S-1-5-18");
}

TEST(SidToString, DoesNotValidateCountAndValues) {
    EXPECT_EQ(sid_text({1, 0, 0, 0, 0, 0, 0, 5}), "S-1-5");
    std::string all = "S-1-5";
    bytes sid = {1, 255, 0, 0, 0, 0, 0, 5};
    for (unsigned i = 0; i < 255; ++i) {
        sid.insert(sid.end(), {static_cast<std::uint8_t>(i), 1, 0, 0});
        all.append("-").append(std::to_string(256 + i));
    }
    EXPECT_EQ(sid_text(sid), all);
}

TEST(SidToString, BytesPastTheEndAreZero) {
    const bytes sid = support::sid("S-1-5-257-513");
    const std::string texts[] = {"S-0-0",        "S-1-0",       "S-1-0-0-0",     "S-1-0-0-0",
                                 "S-1-0-0-0",    "S-1-0-0-0",   "S-1-0-0-0",     "S-1-0-0-0",
                                 "S-1-5-0-0",    "S-1-5-1-0",   "S-1-5-257-0",   "S-1-5-257-0",
                                 "S-1-5-257-0",  "S-1-5-257-1", "S-1-5-257-513", "S-1-5-257-513",
                                 "S-1-5-257-513"};
    ASSERT_EQ(sid.size(), 16u);
    for (std::size_t length = 0; length <= sid.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_EQ(sid_text({sid.begin(), sid.begin() + static_cast<long>(length)}), texts[length]);
    }
}

TEST(SidToStringChecked, NeedsSpaceForItsSubAuthorities) {
    const bytes one = support::sid("S-1-5-18"), two = support::sid("S-1-5-32-544");
    EXPECT_EQ(checked_text(one, 12), "S-1-5-18");
    EXPECT_EQ(checked_text(one, 11), "");
    EXPECT_EQ(checked_text(one, 0), "");
    EXPECT_EQ(checked_text(one, -1), "");
    EXPECT_EQ(checked_text(two, 12), "");
    EXPECT_EQ(checked_text(two, 15), "");
    EXPECT_EQ(checked_text(two, 16), "S-1-5-32-544");
    EXPECT_EQ(checked_text(support::sid(5, {}), 12), "S-1-5");
    EXPECT_EQ(checked_text(support::sid(5, {}), 11), "");  // although the SID has only 8 bytes
    EXPECT_EQ(checked_text(support::sid(5, {}), 8), "");
    EXPECT_EQ(checked_text(support::sid(5, {1}, 255), 257 * 4 - 1), "");
    EXPECT_NE(checked_text(support::sid(5, {1}, 255), 257 * 4), "");
}

TEST(SidToStringChecked, IsEmptyForNoSid) { EXPECT_EQ(checked_text({}, 100), ""); }

TEST(SidDisplayName, IdentifiesSidsOfOneSubAuthorityByTheirAuthority) {
    const struct {
        const char* sid;
        const char* name;
    } cases[] = {
        {"S-1-0-0", "null"},
        {"S-1-0-7", "null"},
        {"S-1-1-0", "World"},
        {"S-1-1-500", "World"},
        {"S-1-2-0", "Local"},
        {"S-1-3-0", "Owner"},
        {"S-1-3-1", "Group"},
        {"S-1-3-2", "Owner Server"},
        {"S-1-3-3", "Group Server"},
        {"S-1-3-4", "unk"},
        {"S-1-4-0", "unk"},
        {"S-1-4-500", "unk"},
        {"S-1-5-0", "unk"},
        {"S-1-5-1", "Dialup"},
        {"S-1-5-2", "Network"},
        {"S-1-5-3", "Batch"},
        {"S-1-5-4", "Interactive"},
        {"S-1-5-5", "Logon Ids"},
        {"S-1-5-6", "Service"},
        {"S-1-5-7", "Anonymous Logon"},
        {"S-1-5-8", "Proxy"},
        {"S-1-5-9", "Server Logon [Domain Controllers]"},
        {"S-1-5-10", "Principal Self"},
        {"S-1-5-11", "Authenticated User"},
        {"S-1-5-12", "Restricted Code"},
        {"S-1-5-13", "Terminal Server Users"},
        {"S-1-5-14", "unk"},
        {"S-1-5-17", "unk"},
        {"S-1-5-18", "Local System"},
        {"S-1-5-19", "Local Service"},
        {"S-1-5-20", "Network Service"},
        {"S-1-5-21", "NT Non Unique"},
        {"S-1-5-22", "unk"},
        {"S-1-5-31", "unk"},
        {"S-1-5-32", "Builtin Domain"},
        {"S-1-5-33", "unk"},
        {"S-1-5-500", "unk"},
        {"S-1-5-4294967295", "unk"},
        {"S-1-6-1", "unk"},
        {"S-1-255-1", "unk"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sid);
        EXPECT_EQ(name_of(support::sid(c.sid)), c.name);
    }
}

TEST(SidDisplayName, IdentifiesLongerSidsByTheirLastSubAuthority) {
    const struct {
        std::uint32_t rid;
        const char* name;
    } cases[] = {
        {499, "unk"},
        {500, "User Admin"},
        {501, "User Guest"},
        {502, "KRBTGT [key distrib center]"},
        {503, "unk"},
        {512, "Domain Admin"},
        {513, "Domain Users"},
        {514, "Domain Guests"},
        {515, "Domain Computers"},
        {516, "Domain Controllers"},
        {517, "Domain Certificate Publishers"},
        {518, "Domain Schema Admins"},
        {519, "Domain Server Admins"},
        {520, "Domain Policy Creater/Owner"},
        {521, "unk"},
        {533, "Domain RAS & IAS Servers"},
        {544, "Admins"},
        {545, "Users"},
        {546, "Guests"},
        {547, "Power Users"},
        {548, "Account Operators"},
        {549, "Server Operators"},
        {550, "Print Operators"},
        {551, "Backup Operators"},
        {552, "Replicators"},
        {553, "RAS Services"},
        {554, "Pre Win2k Compatible Access"},
        {555, "Remote Desktop Users"},
        {556, "Network Configuration Operators"},
        {557, "Incoming Trust Forest Builders"},
        {558, "Performance Monitor Users"},
        {559, "Performance Log Users"},
        {560, "Windows Authorization Access Group"},
        {561, "Terminal Server License Servers"},
        {562, "unk"},
        {0, "unk"},
        {18, "unk"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rid);
        EXPECT_EQ(name_of(support::sid(5, {21, 1, 2, 3, c.rid})), c.name);
        EXPECT_EQ(name_of(support::sid(1, {32, c.rid})), c.name);
    }
}

TEST(SidDisplayName, SidWithoutSubAuthorityIsIdentifiedByTheBytesBefore) {
    // The four bytes at offset 4: 544, lowest byte first.
    EXPECT_EQ(name_of({1, 0, 0, 0, 0x20, 0x02, 0, 0}), "Admins");
    EXPECT_EQ(name_of({1, 0, 0, 0, 0, 0, 0, 5}), "unk");
    EXPECT_EQ(name_of({}), "unk");
}

TEST(AccessMaskText, NamesGenericAndStandardRightsInOrder) {
    const struct {
        unsigned bit;
        const char* name;
    } cases[] = {
        {31, "GENERIC_READ"},    {30, "GENERIC_WRITE"},
        {29, "GENERIC_EXECUTE"}, {28, "GENERIC_ALL"},
        {16, "DELETE"},          {17, "READ_CONTROL"},
        {18, "WRITE_DAC"},       {19, "WRITE_OWNER"},
        {20, "SYNCHRONIZE"},     {24, "ACCESS_SYSTEM_SECURITY"},
        {25, "MAXIMUM_ALLOWED"},
    };
    std::string all;
    std::uint32_t named = 0;
    for (const auto& c : cases) {
        EXPECT_EQ(rights(std::uint32_t{1} << c.bit), c.name);
        all.append(all.empty() ? "" : " | ").append(c.name);
        named |= std::uint32_t{1} << c.bit;
    }
    EXPECT_EQ(rights(named), all);
    EXPECT_EQ(rights(0xFFFFFFFF), all);
    EXPECT_EQ(rights(~named), "");
    EXPECT_EQ(rights(0), "");
    EXPECT_EQ(rights(0x001200A9), "READ_CONTROL | SYNCHRONIZE");
}

TEST(AceTypeText, NamesEachType) {
    const std::string names[] = {"access allowed", "access denied",  "system audit",
                                 "system alarm",   "access allowed", "access allowed",
                                 "access denied",  "system audit",   "system alarm"};
    for (unsigned type = 0; type < 256; ++type) {
        SCOPED_TRACE(type);
        std::string text = "old";
        ace_type_text(static_cast<std::uint8_t>(type), text, true);
        EXPECT_EQ(text, type < 9 ? names[type] : "unknown");
    }
}

TEST(AclRows, OneRowForEachTrusteeAndType) {
    const auto admins = support::sid("S-1-5-32-544"), system = support::sid("S-1-5-18");
    const bytes acl = support::acl(
        {support::ace(0, 3, 0x10000000, system), support::ace(1, 0, 0x00010000, admins),
         support::ace(0, 0, 0x80000000, admins), support::ace(9, 0, 0x00020000, admins)});
    EXPECT_EQ(rows_at(acl, 0), (lines{"S-1-5-18 / access allowed / GENERIC_ALL / Local System",
                                      "S-1-5-32-544 / access allowed / GENERIC_READ / Admins",
                                      "S-1-5-32-544 / access denied / DELETE / Admins",
                                      "S-1-5-32-544 / unknown / READ_CONTROL / Admins"}));
}

TEST(AclRows, JoinsTheRightsOfOneTrusteeAndType) {
    const auto admins = support::sid("S-1-5-32-544");
    EXPECT_EQ(rows_at(support::acl({support::ace(0, 0, 0x80000000, admins),
                                    support::ace(0, 0, 0x40010000, admins)}),
                      0),
              (lines{"S-1-5-32-544 / access allowed / GENERIC_READ | GENERIC_WRITE | DELETE / "
                     "Admins"}));
    // Types 0, 4 and 5 have the same name. An empty text is joined as well.
    EXPECT_EQ(
        rows_at(support::acl({support::ace(0, 0, 0, admins), support::ace(5, 0, 0x00010000, admins),
                              support::ace(4, 0, 0, admins)}),
                0),
        (lines{"S-1-5-32-544 / access allowed /  | DELETE |  / Admins"}));
}

TEST(AclRows, SpecificRightsAloneLeaveTheAccessEmpty) {
    EXPECT_EQ(rows_at(support::acl({support::ace(0, 0, 0x0000FFFF, support::sid("S-1-1-0"))}), 0),
              (lines{"S-1-1-0 / access allowed /  / World"}));
}

TEST(AclRows, SortsRowsByTheBytesOfTheirKeys) {
    const bytes acl = support::acl({support::ace(0, 0, 0, support::sid("S-1-5-21-500")),
                                    support::ace(0, 0, 0, support::sid("S-1-5-21-1000"))});
    EXPECT_EQ(rows_at(acl, 0), (lines{"S-1-5-21-1000 / access allowed /  / unk",
                                      "S-1-5-21-500 / access allowed /  / User Admin"}));
}

TEST(AclRows, ReadsAnAclAnywhereInTheDescriptor) {
    bytes descriptor(20, 0xEE);
    const bytes acl = support::acl({support::ace(2, 0, 0x00010000, support::sid("S-1-1-0"))});
    descriptor.insert(descriptor.end(), acl.begin(), acl.end());
    EXPECT_EQ(rows_at(descriptor, 20), (lines{"S-1-1-0 / system audit / DELETE / World"}));
}

TEST(AclRows, EmptyListAndListPastTheEndHaveNoRows) {
    EXPECT_EQ(rows_at(support::acl({}), 0), lines{});
    EXPECT_EQ(rows_at({}, 0), lines{});
    const bytes acl = support::acl({support::ace(0, 0, 0, support::sid("S-1-1-0"))});
    EXPECT_EQ(rows_at(acl, static_cast<std::uint32_t>(acl.size())), lines{});
    EXPECT_EQ(rows_at(acl, 0xFFFFFFFF), lines{});
}

TEST(AclRows, ManyEntriesOfSizeZeroDoNotLoopForever) {
    bytes acl = support::acl({support::ace(0, 0, 0x00010000, support::sid("S-1-1-0"))});
    acl[4] = acl[5] = 0xFF;  // 65535 entries
    acl[10] = acl[11] = 0;   // of no size
    security_ace_rows rows;
    EXPECT_TRUE(acl_rows(rows, acl, 0));
    ASSERT_EQ(rows.size(), 1u);
    const std::string& access = rows.begin()->second.access;
    EXPECT_EQ(access.size(), 65535 * 6 + 65534 * 3u);
    EXPECT_EQ(access.substr(0, 18), "DELETE | DELETE | ");
}

TEST(AclRows, EntriesPastTheEndReadAsZeros) {
    bytes acl = support::acl({support::ace(1, 0, 0x00010000, support::sid("S-1-1-0"))});
    acl[4] = 3;
    EXPECT_EQ(rows_at(acl, 0), (lines{"S-0-0 / access allowed /  |  / unk",
                                      "S-1-1-0 / access denied / DELETE / World"}));
}

TEST(AclRows, EveryPrefixOfAnAclIsRead) {
    const bytes acl = support::acl({support::ace(1, 0, 0x00010000, support::sid("S-1-1-0")),
                                    support::ace(0, 0, 0x00020000, support::sid("S-1-5-18"))});
    for (std::size_t length = 0; length <= acl.size(); ++length) {
        SCOPED_TRACE(length);
        const bytes cut(acl.begin(), acl.begin() + static_cast<long>(length));
        security_ace_rows rows;
        EXPECT_EQ(acl_rows(rows, cut, 0), length > 4);
        EXPECT_LE(rows.size(), 2u);
    }
}

// Returns a descriptor with owner, group and both lists.
bytes full_descriptor() {
    support::security_descriptor d;
    d.owner = support::sid("S-1-5-18");
    d.group = support::sid("S-1-5-32-544");
    d.sacl = support::acl({support::ace(2, 0, 0x00010000, support::sid("S-1-1-0"))});
    d.dacl = support::acl({support::ace(0, 0, 0x10000000, support::sid("S-1-5-32-544")),
                           support::ace(1, 0, 0x00000001, support::sid("S-1-5-13"))});
    return d.build();
}

TEST(SecurityDescriptorText, WritesOwnerGroupAndLists) {
    EXPECT_EQ(descriptor_text(full_descriptor(), "> "),
              "> Security Identifiers\n"
              "> owner sid [S-1-5-18]\n"
              "> group sid []\n"  // space for one sub-authority only
              "\n"
              "> System Access Control List\n"
              "> system audit    World           DELETE\n"
              "\n"
              "> Discretionary Access Control List\n"
              "> access denied   Terminal Server Users \n"
              "> access allowed  Admins          GENERIC_ALL\n");
}

TEST(SecurityDescriptorText, OmitsAbsentAndEmptyParts) {
    support::security_descriptor d;
    EXPECT_EQ(descriptor_text(d.build()), "Security Identifiers\n");
    d.group = support::sid("S-1-1-0");
    d.sacl = support::acl({});
    EXPECT_EQ(descriptor_text(d.build()),
              "Security Identifiers\n"
              "group sid [S-1-1-0]\n");
    EXPECT_EQ(descriptor_text({}), "Security Identifiers\n");
    d = {};
    d.owner = support::sid("S-1-1-0");
    EXPECT_EQ(descriptor_text(d.build()),
              "Security Identifiers\n"
              "owner sid [S-1-1-0]\n");
}

TEST(SecurityDescriptorText, LeavesTheStreamRightAdjusted) {
    std::ostringstream stream;
    const bytes descriptor = full_descriptor();
    std::ostream& result = security_descriptor_text(stream, descriptor, 0, "");
    EXPECT_EQ(&result, &stream);
    EXPECT_EQ(stream.flags() & std::ios::adjustfield, std::ios::right);
}

TEST(SecurityDescriptorText, OffsetsPastTheEndReadAsZeros) {
    bytes descriptor(20, 0);
    for (const std::size_t field : {4u, 8u, 12u, 16u})
        for (std::size_t i = 0; i < 4; ++i)
            descriptor[field + i] = 0xFF;
    EXPECT_EQ(descriptor_text(descriptor),
              "Security Identifiers\n"
              "owner sid [S-0-0]\n"
              "group sid [S-0-0]\n");
}

TEST(SecurityDescriptorText, EveryPrefixAndEveryDamagedByteEnds) {
    const bytes whole = full_descriptor();
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const bytes cut(whole.begin(), whole.begin() + static_cast<long>(length));
        EXPECT_EQ(descriptor_text(cut).substr(0, 21), "Security Identifiers\n");
    }
    for (std::size_t at = 0; at < whole.size(); ++at) {
        bytes damaged = whole;
        damaged[at] = 0xFF;
        EXPECT_EQ(descriptor_text(damaged).substr(0, 21), "Security Identifiers\n");
    }
}

// Returns one $SDS entry with `descriptor`.
bytes sds_entry(const support::security_descriptor& descriptor) {
    support::sds_stream stream;
    stream.add(0x105, descriptor.build());
    bytes entry = stream.build();
    entry.resize(stream.entries()[0].size);
    return entry;
}

support::security_descriptor owned(const char* owner, const char* group) {
    support::security_descriptor d;
    if (owner != nullptr) d.owner = support::sid(owner);
    if (group != nullptr) d.group = support::sid(group);
    return d;
}

TEST(ParseSdsEntry, ReadsIdOffsetOwnerAndGroup) {
    bytes entry = sds_entry(owned("S-1-5-32-544", "S-1-5-18"));
    entry[9] = 0x12;  // the offset that the entry states
    NTFS_SECURITY_ITEM item;
    ASSERT_TRUE(parse_sds_entry(item, entry, entry.size()));
    EXPECT_EQ(item.id, 0x105u);
    EXPECT_EQ(item.sds_offset, 0x1200u);
    EXPECT_EQ(item.owner_text, "S-1-5-32-544");
    EXPECT_EQ(item.group_text, "S-1-5-18");
    EXPECT_TRUE(item.sacl_lines.empty());
    EXPECT_TRUE(item.dacl_lines.empty());
}

TEST(ParseSdsEntry, OwnerOrGroupAloneIsEnough) {
    NTFS_SECURITY_ITEM item;
    const bytes with_owner = sds_entry(owned("S-1-1-0", nullptr));
    ASSERT_TRUE(parse_sds_entry(item, with_owner, with_owner.size()));
    EXPECT_EQ(item.owner_text, "S-1-1-0");
    EXPECT_EQ(item.group_text, "");
    const bytes with_group = sds_entry(owned(nullptr, "S-1-1-0"));
    ASSERT_TRUE(parse_sds_entry(item, with_group, with_group.size() + 12));
    EXPECT_EQ(item.owner_text, "");
    EXPECT_EQ(item.group_text, "S-1-1-0");
    const bytes with_neither = sds_entry(owned(nullptr, nullptr));
    EXPECT_FALSE(parse_sds_entry(item, with_neither, with_neither.size()));
    EXPECT_EQ(item.group_text, "S-1-1-0");
}

TEST(ParseSdsEntry, RejectsAnEntryLargerThanTheStream) {
    const bytes entry = sds_entry(owned("S-1-1-0", "S-1-1-0"));
    NTFS_SECURITY_ITEM item;
    EXPECT_FALSE(parse_sds_entry(item, entry, entry.size() - 1));
    EXPECT_EQ(item.id, 0u);  // unchanged
    EXPECT_EQ(item.sds_offset, 0u);
    EXPECT_TRUE(parse_sds_entry(item, entry, entry.size()));
    EXPECT_FALSE(parse_sds_entry(item, {}, 1000));
}

TEST(ParseSdsEntry, RestOfTheStreamLimitsTheSids) {
    bytes entry = sds_entry(owned("S-1-5-21-1", "S-1-5-21-2"));
    entry[16] = 0;  // an entry that states a size of 0
    const struct {
        std::uint64_t room;
        const char *owner, *group;
    } cases[] = {
        {0, "", ""},
        {39, "", ""},
        {40, "S-1-5-21-1", ""},  // 16 bytes after the first 24
        {47, "S-1-5-21-1", ""},
        {48, "S-1-5-21-1", "S-1-5-21-2"},  // 16 after the first 32
        {UINT64_MAX / 2, "S-1-5-21-1", "S-1-5-21-2"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.room);
        NTFS_SECURITY_ITEM item;
        EXPECT_TRUE(parse_sds_entry(item, entry, c.room));
        EXPECT_EQ(item.owner_text, c.owner);
        EXPECT_EQ(item.group_text, c.group);
    }
}

TEST(ParseSdsEntry, EveryPrefixIsReadAsIfFollowedByZeros) {
    const bytes whole = sds_entry(owned("S-1-5-32-544", "S-1-5-18"));
    for (std::size_t length = 1; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        const bytes cut(whole.begin(), whole.begin() + static_cast<long>(length));
        NTFS_SECURITY_ITEM item;
        EXPECT_EQ(parse_sds_entry(item, cut, whole.size()), length > 24);
    }
}

TEST(ParseSdsEntry, EntryCountOfAnAclIsIgnored) {
    support::security_descriptor d = owned("S-1-1-0", nullptr);
    d.dacl = support::acl({support::ace(0, 0, 0x00010000, support::sid("S-1-1-0"))});
    bytes entry = sds_entry(d);
    entry[40 + 4] = entry[40 + 5] = 0xFF;  // entries of the DACL, which follows the header
    NTFS_SECURITY_ITEM item;
    ASSERT_TRUE(parse_sds_entry(item, entry, entry.size()));
    EXPECT_TRUE(item.dacl_lines.empty());
}

}  // namespace
