// How a mount agrees with the kernel on reading files directly, and for which files it does.
#include "tools/mount/direct_reads.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <linux/fuse.h>

namespace {

constexpr std::uint32_t kMappings = 1U << 4U; // in flags2
constexpr std::uint32_t kOtherFlag = 1;

struct FirstRequest {
    fuse_in_header header{};
    fuse_init_in body{};
};

FirstRequest requestOf(std::uint32_t opcode, std::uint32_t flags, std::uint32_t flags2) {
    FirstRequest request;
    request.header.opcode = opcode;
    request.body.flags = flags | kOtherFlag;
    request.body.flags2 = flags2;
    return request;
}

fuse_init_out answerTo(DirectReads& reads, const FirstRequest& request,
                       std::size_t size = sizeof(FirstRequest)) {
    fuse_init_out answer{};
    answer.flags = kOtherFlag;
    reads.see(&request, size);
    reads.amend(&answer, sizeof answer);
    return answer;
}

TEST(DirectReads, areGrantedWhereTheKernelOffersMappings) {
    DirectReads reads;
    const fuse_init_out answer = answerTo(reads, requestOf(FUSE_INIT, FUSE_INIT_EXT, kMappings | kOtherFlag));
    EXPECT_EQ(answer.flags, FUSE_INIT_EXT | kOtherFlag);
    EXPECT_EQ(answer.flags2, kMappings);
    EXPECT_TRUE(reads.areGranted());

    fuse_init_out later{};
    reads.amend(&later, sizeof later);
    EXPECT_EQ(later.flags, 0U) << "only the first answer is amended";
}

TEST(DirectReads, areRefusedOtherwise) {
    const struct {
        const char* what;
        FirstRequest request;
        std::size_t size;
    } rows[] = {
        {"another request", requestOf(FUSE_LOOKUP, FUSE_INIT_EXT, kMappings), sizeof(FirstRequest)},
        {"no second field of flags", requestOf(FUSE_INIT, 0, kMappings), sizeof(FirstRequest)},
        {"the flag is not offered", requestOf(FUSE_INIT, FUSE_INIT_EXT, ~kMappings), sizeof(FirstRequest)},
        {"the message of an older kernel", requestOf(FUSE_INIT, FUSE_INIT_EXT, kMappings),
         sizeof(fuse_in_header) + 16},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        DirectReads reads;
        const fuse_init_out answer = answerTo(reads, row.request, row.size);
        EXPECT_EQ(answer.flags, kOtherFlag);
        EXPECT_EQ(answer.flags2, 0U);
        EXPECT_FALSE(reads.areGranted());
        EXPECT_FALSE(reads.takeFile());
    }
}

TEST(DirectReads, pauseAfterAFileThatIsReadRowByRow) {
    DirectReads reads;
    answerTo(reads, requestOf(FUSE_INIT, FUSE_INIT_EXT, kMappings));

    DirectReads::File copied{true};
    for (int read = 0; read < 1000; ++read)
        reads.note(copied, std::size_t{1} << 20U);
    DirectReads::File header{true};
    for (int read = 0; read < 10; ++read)
        reads.note(header, 512);
    EXPECT_TRUE(reads.takeFile());

    DirectReads::File rows{true};
    for (int read = 0; read < 2160; ++read)
        reads.note(rows, 8192);
    int cached = 0;
    while (!reads.takeFile() && cached < 1000)
        ++cached;
    EXPECT_EQ(cached, 32);
    EXPECT_TRUE(reads.takeFile());
}

} // namespace
