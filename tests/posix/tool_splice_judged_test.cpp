// Spliced files as another program reads them: pairs of films that ffmpeg makes, with the same parameters and
// different content, are joined and then decoded to their end.
#include "tool_run.h"

#include <gtest/gtest.h>

namespace {

using namespace test;

// The lines that a shell command prints.
std::vector<std::string> Lines(const std::string& command, const TempFolder& folder) {
    const std::string out = folder.Path("lines");
    EXPECT_EQ(std::system((command + " > " + out + " 2>&1").c_str()), 0) << command;
    std::ifstream            in(out);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// What a reader makes of a file.
struct Judged {
    int video = 0, audio = 0; // frames decoded
    int seams = 0;            // the first stream's time goes back by more than a second

    Judged(const std::string& file, const TempFolder& folder) {
        const std::string probe = "ffprobe -v quiet -of csv=p=0 " + file;
        const auto        count = [&](const char* stream) {
            const auto lines =
                Lines(probe + " -count_frames -show_entries stream=nb_read_frames -select_streams " + stream,
                             folder);
            return lines.empty() ? 0 : std::atoi(lines[0].c_str());
        };
        video       = count("v");
        audio       = count("a");
        double last = -1;
        for (const std::string& time :
             Lines(probe + " -show_entries packet=dts_time -select_streams 0", folder)) {
            const double now = std::atof(time.c_str());
            if (now != 0) seams += now < last - 1, last = now;
        }
    }
};

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
    {"media.asf", "-c:v msmpeg4v3 -b:v 400k -c:a wmav2 -b:a 96k -f asf", 1, 0, 0},
};

TEST(SplicedFiles, DecodeInAnotherProgram) {
    if (std::system("command -v ffmpeg ffprobe > /dev/null") != 0) GTEST_SKIP() << "there is no ffmpeg";
    const TempFolder folder;
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        const std::string name = kind.name;
        const auto        make = [&](const char* picture, const char* tone) {
            std::string        file = folder.Path(tone + name);
            std::ostringstream command;
            command << "ffmpeg -v error -nostdin -y -f lavfi -t 4 -i " << picture
                    << "=size=176x144:rate=25 -f lavfi -t 4 -i sine=frequency=" << tone
                    << ":sample_rate=44100 -map_metadata -1 -threads 1 " << kind.codecs << ' ' << file;
            Lines(command.str(), folder);
            return file;
        };
        const std::string one = make("testsrc2", "440"), two = make("mandelbrot", "880");
        const std::string out    = folder.Path("out-" + name);
        const ToolResult  result = RunTool({"splice", "-o", out, one, two});
        ASSERT_EQ(result.status, 0) << result.problems;
        const Judged first(one, folder), second(two, folder), both(out, folder);
        EXPECT_EQ(both.video, first.video + second.video);
        EXPECT_LE(both.audio, first.audio + second.audio + 1);
        EXPECT_GE(both.audio, first.audio + second.audio - kind.lostAudio);
        EXPECT_EQ(both.seams, kind.seams);
        int complaints = 0;
        for (const std::string& line : Lines("ffmpeg -v error -nostdin -i " + out + " -f null -", folder)) {
            complaints += line.find("monoton") == std::string::npos;
        }
        EXPECT_LE(complaints, kind.complaints);
    }
}

} // namespace
