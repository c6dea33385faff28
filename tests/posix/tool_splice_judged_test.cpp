// Spliced files as another program reads them: pairs of films that ffmpeg makes, with the same parameters and
// different content, are joined and then decoded to their end.
#include "ffmpeg_test.h"

namespace {

using namespace test;

struct Kind {
    const char* name;
    const char* codecs;
    int         seams;      // where the time goes back
    int         lostAudio;  // frames of both files together, at most
    int         complaints; // of the decoders, at most
};

// Four seconds: 100 pictures and some 150 frames of audio a file. What is lost and why is in
// docs/splicing.md.
const Kind kKinds[] = {
    {"system.mpg", "-c:v mpeg1video -b:v 400k -c:a mp2 -b:a 96k -f mpeg", 1, 0, 0},
    {"program.vob", "-c:v mpeg2video -b:v 400k -c:a mp2 -b:a 96k -f vob", 1, 16, 4},
    {"dvd.mpg", "-c:v mpeg2video -b:v 400k -c:a mp2 -b:a 96k -f dvd", 1, 16, 5},
    {"silent.vob", "-map 0 -c:v mpeg2video -b:v 400k -f vob", 1, 0, 0},
    {"ac3.vob", "-c:v mpeg2video -b:v 400k -c:a ac3 -b:a 96k -f vob", 1, 0, 0},
    {"no-b.vob", "-c:v mpeg2video -bf 0 -b:v 400k -c:a mp2 -b:a 96k -f vob", 1, 16, 4},
    {"stream.ts", "-c:v mpeg2video -b:v 400k -c:a mp2 -b:a 96k -f mpegts", 1, 0, 0},
    {"sound.mp3", "-map 1 -c:a libmp3lame -b:a 96k -f mp3", 0, 0, 0}, // frames without times
    {"pictures.264", "-map 0 -c:v libx264 -preset ultrafast", 0, 0, 0},
    {"media.asf", "-c:v msmpeg4v3 -b:v 400k -c:a wmav2 -b:a 96k -f asf", 1, 0, 0},
};

class SplicedFiles : public FfmpegTest {
protected:
    // Frames decoded of the streams: "v" or "a".
    int Frames(const std::string& file, const std::string& streams) const {
        return std::atoi(Probed(file, "-of csv=p=0 -count_frames -show_entries stream=nb_read_frames "
                                      "-select_streams "
                                          + streams)
                             .c_str());
    }

    // How often the first stream's time goes back by more than a second.
    int Seams(const std::string& file) const {
        std::istringstream times(Probed(file, "-of csv=p=0 -show_entries packet=dts_time -select_streams 0"));
        int                seams = 0;
        double             last  = -1;
        for (std::string time; std::getline(times, time);) {
            const double now = std::atof(time.c_str());
            if (now == 0) continue;
            seams += now < last - 1;
            last = now;
        }
        return seams;
    }

    int Complaints(const std::string& file) const {
        std::istringstream lines(Printed("ffmpeg -v error -nostdin -i " + file + " -f null -"));
        int                complaints = 0;
        for (std::string line; std::getline(lines, line);)
            complaints += line.find("monoton") == std::string::npos;
        return complaints;
    }
};

TEST_F(SplicedFiles, DecodeInAnotherProgram) {
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        const std::string name = kind.name, out = m_folder.Path("out-" + name);
        const std::string one    = Make("one-" + name, kind.codecs, 4);
        const std::string two    = Make("two-" + name, kind.codecs, 4, "25", "mandelbrot", "880");
        const ToolResult  result = RunTool({"splice", "-o", out, one, two});
        ASSERT_EQ(result.status, 0) << result.problems;
        EXPECT_EQ(Frames(out, "v"), Frames(one, "v") + Frames(two, "v"));
        const int audio = Frames(one, "a") + Frames(two, "a");
        EXPECT_LE(Frames(out, "a"), audio + 1);
        EXPECT_GE(Frames(out, "a"), audio - kind.lostAudio);
        EXPECT_EQ(Seams(out), kind.seams);
        EXPECT_LE(Complaints(out), kind.complaints);
    }
}

} // namespace
