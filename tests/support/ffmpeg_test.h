// Tests that need another program's media files and its opinion; skipped where there is no ffmpeg.
#ifndef KIVUTILITY_TESTS_FFMPEG_TEST_H
#define KIVUTILITY_TESTS_FFMPEG_TEST_H

#include "tool_run.h"

#include <gtest/gtest.h>

namespace test {

class FfmpegTest : public testing::Test {
protected:
    const TempFolder m_folder;

    // What a shell command prints.
    std::string Printed(const std::string& command) const {
        const std::string out = m_folder.Path("printed");
        EXPECT_EQ(std::system((command + " > " + out + " 2>&1").c_str()), 0) << command;
        return ReadWholeText(out);
    }

    // What ffprobe tells of the file, with these options.
    std::string Probed(const std::string& file, const std::string& options) const {
        return Printed("ffprobe -v quiet " + options + ' ' + file);
    }

    // A file of pictures and sound, of which `codecs` may take one alone ("-map").
    std::string Make(const std::string& name, const std::string& codecs, double seconds,
                     const std::string& rate = "25", const std::string& picture = "testsrc2",
                     const std::string& tone = "440") const {
        std::string        file = m_folder.Path(name);
        std::ostringstream command;
        command << "ffmpeg -v error -nostdin -y -f lavfi -t " << seconds << " -i " << picture
                << "=size=176x144:rate=" << rate << " -f lavfi -t " << seconds
                << " -i sine=frequency=" << tone
                << ":sample_rate=44100 -map_metadata -1 -threads 1 -strict -2 " << codecs << ' ' << file;
        const std::string complaint = Printed(command.str());
        EXPECT_TRUE(fs::exists(file)) << complaint;
        return file;
    }

    void SetUp() override {
        if (std::system("command -v ffmpeg ffprobe > /dev/null") != 0) GTEST_SKIP() << "there is no ffmpeg";
    }
};

} // namespace test

#endif
