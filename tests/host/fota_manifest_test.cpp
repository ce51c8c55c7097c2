// Update manifests as the host's update service reads and keeps them.
#if TANDREL_HOST_NETWORK
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "services/net/fota_server.h"

namespace {

const std::string kDigest(64, 'a');
const std::string kGood = "version=V2\npackage=fw.bin\nsize=10\nsha256=" + kDigest + "\n";

TEST(FotaManifest, ReadOrRefused) {
    const struct {
        std::string text;
        bool readable;
    } cases[] = {
        {kGood, true},
        {"# offer\r\n\r\n" + kGood + "description=a, b\nchannel=beta\n", true},
        {"version=V2\npackage=fw.bin\nsize=2147483647\nsha256=" + std::string(64, 'F'), true},
        {"version=V2\npackage=fw.bin\nsize=2147483648\nsha256=" + kDigest, false},
        {"version=V2\npackage=fw.bin\nsize=0\nsha256=" + kDigest, false},
        {"version=V2\npackage=fw.bin\nsize=1x\nsha256=" + kDigest, false},
        {"version=V2\npackage=fw.bin\nsize=10\nsha256=" + std::string(63, 'a') + "g", false},
        {"version=V2\npackage=fw.bin\nsize=10\nsha256=" + kDigest + "0", false},
        {"version=V2,1\npackage=fw.bin\nsize=10\nsha256=" + kDigest, false},
        {"version=\npackage=fw.bin\nsize=10\nsha256=" + kDigest, false},
        {"version=" + std::string(64, 'v') + "\npackage=f\nsize=10\nsha256=" + kDigest, false},
        {kGood + "version=V3\n", false},
        {kGood + "no separator\n", false},
        {"version=V2\npackage=fw.bin\nsize=10\n", false},
    };
    for (const auto& c : cases) {
        FotaManifest m{};
        EXPECT_EQ(fota_manifest_parse(c.text.data(), c.text.size(), false, &m) == 0, c.readable)
            << c.text;
    }
}

TEST(FotaManifest, KeptAndReadBack) {
    FotaManifest named{};
    strcpy(named.version, "oem-1.bin");
    strcpy(named.package, "https://updates.test/oem-1.bin");
    char text[kFotaManifestMax];
    const size_t n = fota_manifest_format(named, text, sizeof text);
    FotaManifest back{};
    ASSERT_EQ(fota_manifest_parse(text, n, true, &back), 0) << "without size and digest";
    EXPECT_FALSE(back.has_digest);
    EXPECT_STREQ(back.package, named.package);

    ASSERT_EQ(fota_manifest_parse(kGood.data(), kGood.size(), false, &named), 0);
    const size_t full = fota_manifest_format(named, text, sizeof text);
    ASSERT_EQ(fota_manifest_parse(text, full, false, &back), 0);
    EXPECT_STREQ(back.version, "V2");
    EXPECT_EQ(back.size, 10u);
    EXPECT_EQ(memcmp(back.sha256, named.sha256, sizeof back.sha256), 0);
}

}  // namespace
#endif
