// Many threads at once over one format, one parameter record and one set of sources. The thread sanitizer watches.
#include <thread>

#include "support.h"

namespace {

TEST(Threads, ShareWhatIsOnlyRead)
{
    static const Format format(L"%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF");
    static const ZEMTTS ts{2024, 2, 29, 23, 59, 58, 123456, {}};
    static constexpr char text[] = "2024-02-29 23:59:58.123456";
    const auto work = [](double number) {
        for (int turn = 0; turn < 2000; ++turn) {
            char written[64];
            ZEMTTS read;
            int32_t length;
            int32_t source_length = 0;
            EXPECT_EQ(ZEMTCnvZEMTTSToVarcharSz(&ts, nullptr, written, 63, &length, &format.parms), ZEMT_RC_OK);
            EXPECT_STREQ(written, text);
            EXPECT_EQ(ZEMTCnvDateTimeSzToZEMTTS(text, &source_length, &read, 24, &length, &format.parms), ZEMT_RC_OK);
            EXPECT_EQ(std::memcmp(&read, &ts, sizeof ts), 0);

            wchar_t digits[25];
            double same = 0;
            EXPECT_EQ(ZEMTCnvDblToWVarcharSz(&number, nullptr, digits, 100, &length, nullptr), ZEMT_RC_OK);
            EXPECT_EQ(ZEMTCnvWVarcharSzToDbl(digits, nullptr, &same, 8, nullptr, nullptr), ZEMT_RC_OK);
            EXPECT_EQ(same, number);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work, 1.0 / (3 + i));
    for (std::thread &thread : threads) thread.join();
}

}  // namespace
