// The measures of files as another program has them: ffmpeg makes files of every container, and ffprobe reads
// and counts them.
#include "ffmpeg_test.h"

#include <cmath>

namespace {

using namespace test;

struct Kind {
    const char* name;
    const char* codecs;         // and the muxer's options
    int         format;         // expected
    const char* durationOrigin; // expected
    const char* framesOrigin;   // expected
    double      seconds = 3;    // of the input
    const char* rate    = "25"; // pictures a second of the input
    unsigned    percent = 100;  // of the file that is left
};

constexpr char kAvc[]        = "-c:v libx264 -preset ultrafast -c:a aac";
constexpr char kMpeg4[]      = "-c:v mpeg4 -c:a libmp3lame";
constexpr char kFragmented[] = "-c:v libx264 -bf 2 -c:a aac -movflags +frag_keyframe+empty_moov -g 12";

const Kind kKinds[] = {
    {"a.avi", kMpeg4, 7, "declared", "declared"},
    {"b.avi", "-c:v mjpeg -c:a pcm_s16le", 7, "declared", "declared", 2.5, "30000/1001"},
    {"c.avi", "-map 0 -c:v msmpeg4v2", 7, "declared", "declared", 7.3, "12"},
    {"d.avi", kMpeg4, 7, "declared", "declared", 4, "50"},
    {"a.mp3", "-map 1 -c:a libmp3lame -b:a 96k", 6, "declared", "declared", 5},
    {"b.mp3", "-map 1 -c:a libmp3lame -q:a 4 -write_xing 0", 6, "counted", "counted", 5},
    {"c.mp2", "-map 1 -c:a mp2", 5, "counted", "counted", 5},
    {"a.mp4", kAvc, 17, "declared", "declared"},
    {"b.mp4", "-c:v mpeg4 -c:a aac -movflags +faststart", 17, "declared", "declared", 2.2, "24000/1001"},
    {"c.mp4", kFragmented, 17, "timestamps", "counted"},
    {"d.mp4", "-c:v libx264 -c:a aac -movflags +frag_keyframe -g 30", 17, "timestamps", "counted", 5, "30"},
    {"e.mp4", "-map 1 -c:a aac", 17, "declared", "declared", 4},
    {"f.mp4", "-map 0 -c:v libx265 -x265-params log-level=none", 17, "declared", "declared", 2, "60"},
    {"h.mp4", "-c:v libx264 -an -video_track_timescale 90000 -fps_mode vfr -vf setpts=PTS*PTS/2/40000", 17,
     "declared", "declared", 2},
    {"i.mp4", kAvc, 17, "declared", "declared", 12, "15"},
    {"a.3gp", "-c:v h263 -s 176x144 -c:a aac -ar 8000", 25, "declared", "declared"},
    {"b.3g2", "-c:v mpeg4 -c:a aac", 25, "declared", "declared"},
    {"a.mov", kAvc, 9, "declared", "declared"},
    {"b.mov", "-c:v mjpeg -c:a pcm_s16le", 9, "declared", "declared", 2, "30000/1001"},
    {"c.mov", "-c:v prores_ks -an -movflags +faststart", 9, "declared", "declared", 1},
    {"d.mov", "-c:v qtrle -c:a alac", 9, "declared", "declared", 1.5, "10"},
    {"e.mov", "-map 1 -c:a aac", 9, "declared", "declared", 2},
    {"f.mov", kFragmented, 9, "timestamps", "counted"},
    {"a.asf", "-c:v msmpeg4v2 -c:a wmav2", 8, "declared", "counted"},
    {"b.wmv", "-c:v wmv2 -c:a wmav2", 20, "declared", "counted", 5, "30000/1001"},
    {"c.wma", "-map 1 -c:a wmav2", 20, "declared", "counted", 6},
    {"d.asf", "-c:v wmv1 -c:a libmp3lame -packet_size 6400", 8, "declared", "counted", 4, "15"},
    {"e.asf", "-c:v mpeg4 -b:v 2M -an", 8, "declared", "counted", 3, "50"},
    {"f.wmv", "-c:v wmv1 -c:a wmav1 -s 640x480", 20, "declared", "counted", 8, "24"},
    {"a.rm", "-c:v rv10 -c:a ac3", 19, "declared", "counted", 4},
    {"b.rm", "-c:v rv20 -c:a ac3", 19, "declared", "counted", 6, "15"},
    {"c.rm", "-map 1 -c:a ac3", 19, "declared", "counted", 5},
    {"a.264", "-map 0 -c:v libx264", 18, "counted", "counted"},
    {"b.264", "-map 0 -c:v libx264 -bf 3 -preset medium", 18, "counted", "counted", 4, "30000/1001"},
    {"c.264", "-map 0 -c:v libx264 -x264-params slices=4:interlaced=1", 18, "counted", "counted", 2},
    {"d.264", "-map 0 -c:v libx264 -aud 1 -intra-refresh 1", 18, "counted", "counted", 3, "60"},
    {"e.264", "-map 0 -c:v libx264 -pix_fmt yuv444p -profile:v high444", 18, "counted", "counted", 2, "10"},
    // a file that ends early is told from a whole one by what it tells of itself
    {"cut.mp4", "-c:v libx264 -c:a aac -movflags +faststart", 17, "declared", "declared", 3, "25", 60},
    {"cut-f.mp4", kFragmented, 17, "timestamps", "counted", 3, "25", 60},
    {"cut.mov", kAvc, 9, "none", "none", 3, "25", 60},
    {"cut.asf", "-c:v msmpeg4v2 -c:a wmav2", 8, "declared", "counted", 3, "25", 60},
    {"cut.rm", "-c:v rv10 -c:a ac3", 19, "declared", "counted", 3, "25", 60},
    {"cut.avi", kMpeg4, 7, "declared", "declared", 3, "25", 60},
    {"cut.mp3", "-map 1 -c:a libmp3lame -b:a 96k", 6, "counted", "counted", 3, "25", 60},
    {"cut.ts", "-c:v mpeg2video -c:a mp2", 13, "timestamps", "estimated", 3, "25", 61},
};

double Number(const nlohmann::json& object, const char* name) {
    return object.contains(name) ? std::atof(object[name].get<std::string>().c_str()) : 0;
}

class MeasuredFiles : public FfmpegTest {
protected:
    // made: the seconds that a file was made for, where it carries no times and the other program guesses.
    void ExpectSameMeasures(const nlohmann::json& told, const std::string& file, double made = 0) const {
        const auto probed =
            nlohmann::json::parse(Probed(file, "-of json -count_packets -show_entries "
                                               "stream=codec_type,nb_read_packets:format=duration"));
        const double seconds   = made != 0 ? made : Number(probed["format"], "duration");
        double       frames[2] = {}, longest = 0; // of sound and of pictures; the frame that lasts longest
        for (const auto& stream : probed["streams"]) {
            double& counted = frames[stream["codec_type"] == "video"];
            if (counted == 0) counted = Number(stream, "nb_read_packets");
            longest = std::max(longest, seconds / Number(stream, "nb_read_packets"));
        }
        // an encoder of sound begins with a frame or two of its own
        if (frames[1] == 0) longest *= 2;
        EXPECT_NEAR(told["duration"].get<double>(), seconds, std::max(longest, seconds / 1000));
        EXPECT_EQ(told["frames"], frames[1] != 0 ? frames[1] : frames[0]);
        const double bitRate = static_cast<double>(fs::file_size(file)) * 8 / seconds;
        EXPECT_NEAR(told["bit_rate"].get<double>(), bitRate, bitRate * 0.05);
    }
};

TEST_F(MeasuredFiles, AreAsLongAndHaveAsManyFramesAsAnotherProgramCountsOrTellThatTheyWereCut) {
    Arguments arguments = {"identify", "--json"};
    for (const Kind& kind : kKinds) {
        arguments.push_back(Make(kind.name, kind.codecs, kind.seconds, kind.rate));
        const auto whole = fs::file_size(arguments.back());
        fs::resize_file(arguments.back(), whole * kind.percent / 100);
    }
    const auto objects = RunTool(arguments).Objects();
    ASSERT_EQ(objects.size(), std::size(kKinds));
    for (std::size_t i = 0; const Kind& kind : kKinds) {
        const auto& told = objects[i++];
        SCOPED_TRACE(told.dump());
        EXPECT_EQ(told["format"], kind.format);
        EXPECT_EQ(told["origin"]["duration"], std::string(kind.durationOrigin));
        EXPECT_EQ(told["origin"]["frames"], std::string(kind.framesOrigin));
        EXPECT_EQ(told["truncated"], kind.percent < 100);
        if (kind.percent < 100) continue;
        const bool guessed = kind.durationOrigin == std::string("counted");
        ExpectSameMeasures(told, m_folder.Path(kind.name), guessed ? kind.seconds : 0);
    }
}

// The samples of five seconds and 25 pictures a second that have groups of pictures are measured by the rule
// that docs/formats.md tells: whole seconds and the last group, at 29.97 pictures a second.
TEST_F(MeasuredFiles, AmongTheSamplesAreMeasuredAlikeOrByTheRule) {
    const auto objects  = RunTool({"identify", "--json", "-r", KIV_SAMPLES_DIR}).Objects();
    int        compared = 0;
    for (const auto& told : objects) {
        SCOPED_TRACE(told.dump());
        const int format = told["format"];
        if (told["truncated"] || told["origin"]["duration"] == "none") continue;
        ++compared;
        if (format <= 4 || format == 12 || format == 13) {
            EXPECT_NEAR(told["duration"].get<double>(), 5, 1.5);
            EXPECT_NEAR(told["frames"].get<double>(), told["duration"].get<double>() * 29.97, 1);
        } else if (told["origin"]["duration"] != "counted") {
            ExpectSameMeasures(told, told["path"]);
        }
    }
    EXPECT_EQ(compared, 27);
}

} // namespace
