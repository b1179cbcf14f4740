// The tool's files: outputs replaced whole or not at all, inputs refused in
// words before any work, and batches that go on past bad images and resume.
#include <chrono>

#include "cli_fixture.h"
#include "support/composite.h"

namespace {

namespace fs = std::filesystem;

// Regular files in a folder: no temporary ones left behind.
int filesIn(const std::string& folder) {
    int n = 0;
    for (const auto& e : fs::directory_iterator(folder)) n += e.is_regular_file();
    return n;
}

using Files = Cli;

TEST_F(Files, FailedWritesKeepTheEarlierFile) {
    cv::Mat noise(120, 120, CV_8UC1);
    cv::randu(noise, 0, 256);
    const std::string mask = write("mask.png", noise), out = file("out.png");
    std::ofstream(out) << "earlier output";
    const std::string stroke = "stroke " + mask + " --from 1,1 --to 90,90 --radius 2 --mode keep -o ";
    // A file size limit of 4 KB makes the write fail part way, as a full disk would.
    const struct { int code; std::string target, prefix, says; } refused[] = {
        {2, out, "ulimit -f 8; trap '' XFSZ; ", "larger than"},
        {2, "/dev/full", "", "not a regular file"},
        {2, file("no/such/folder/o.png"), "", "does not exist"},
        {1, file("o.xyz"), "", "unknown image extension '.xyz'"},
    };
    for (const auto& r : refused) {
        EXPECT_EQ(r.code, run(stroke + r.target, r.prefix)) << r.target;
        EXPECT_TRUE(says(r.says) && says(r.target)) << output;
        EXPECT_EQ("earlier output", text(out));
        EXPECT_EQ(2, filesIn(tmp.path));  // mask and out, no temporary file
    }
    // The same write without the limit replaces the file whole.
    ASSERT_EQ(0, run(stroke + out)) << output;
    EXPECT_EQ(noise.size(), read("out.png").size());
    EXPECT_EQ(2, filesIn(tmp.path));
}

TEST_F(Files, InputsCheckedBeforeWork) {
    qxtest::Composite c = qxtest::makeComposite(96, 64);
    const std::string image = write("image.png", c.image), out = " -o " + file("alpha.png");
    cv::Mat known = c.trimap.clone(), noBackground = c.trimap.clone(), brushed = c.trimap.clone();
    known.setTo(255, known == 128);
    noBackground.setTo(128, noBackground == 0);
    brushed.setTo(1, brushed == 0);  // cut drawn by the brushes is named, and --in-low 1 takes it
    const struct { std::string marks, says; cv::Mat trimap; } refused[] = {
        {"k.png", "nothing unknown", known}, {"b.png", "marks no background", noBackground},
        {"s.png", "a low bound of 1", brushed}};
    for (const auto& r : refused) {
        EXPECT_EQ(1, run("matte " + image + " " + write(r.marks, r.trimap) + out)) << r.marks;
        EXPECT_TRUE(says(r.says)) << output;
    }
    EXPECT_EQ(0, run("matte " + image + " " + file("s.png") + out + " --in-low 1"));

    // A 16-bit trimap is brought to 8 bits (65535 to 255) and solves as the 8-bit one.
    cv::Mat deep;
    c.trimap.convertTo(deep, CV_16U, 257.0);
    ASSERT_EQ(0, run("matte " + image + " " + write("deep.png", deep) + out)) << output;
    ASSERT_EQ(0, run("matte " + image + " " + write("t.png", c.trimap) + " -o " + file("alpha8.png"))) << output;
    EXPECT_EQ(0, cv::norm(read("alpha.png"), read("alpha8.png"), cv::NORM_INF));

    // A PNG whose header claims 100000 x 90000 pixels is refused before decoding.
    std::ofstream(file("huge.png"), std::ios::binary)
        << std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\x01\x86\xa0\0\x01\x5f\x90\x08\x00\0\0\0", 29);
    EXPECT_EQ(2, run("foreground " + file("huge.png") + " " + image + out));
    EXPECT_TRUE(says("100000x90000") && says("megapixels")) << output;
}

// Every output is checked before the solve: nothing is written when one of
// them cannot be; damaged inputs are refused in our words only.
TEST_F(Files, OutputsAndDamagedInputsRefusedBeforeWork) {
    qxtest::Composite c = qxtest::makeComposite(96, 64);
    const std::string image = write("image.png", c.image), trimap = write("trimap.png", c.trimap);
    const std::string matte = "matte " + image + " " + trimap + " -o " + file("alpha.png");
    // A JPEG cut short, a PNG cut short, a symlink loop, a trimap whose header
    // promises another size (and holds no pixels at all).
    ASSERT_EQ(0, run(matte + " --preview " + file("whole.jpg"))) << output;
    const std::string jpeg = text(file("whole.jpg")), png = text(trimap);
    std::ofstream(file("short.jpg"), std::ios::binary) << jpeg.substr(0, jpeg.size() / 2);
    std::ofstream(file("short.png"), std::ios::binary) << png.substr(0, png.size() / 2);
    fs::create_symlink(file("loop-b"), file("loop-a")), fs::create_symlink(file("loop-a"), file("loop-b"));
    std::ofstream(file("big.png"), std::ios::binary)
        << std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\x0b\xb8\0\0\x07\xd0\x08\x00\0\0\0", 29);
    fs::remove(file("alpha.png"));
    const std::string base = "matte " + image + " ";
    const struct { int code; std::string args, says; } refused[] = {
        {2, matte + " --preview " + file("none/p.png"), "the folder '" + file("none") + "' does not exist"},
        {1, matte + " --cutout " + file("c.jpg"), "a cut-out needs its transparency"},
        // sysfs takes no new files, whoever asks (root included).
        {2, "cutout " + image + " " + trimap + " -o " + file("alpha.png") + " --alpha /sys/kernel/a.png",
         "the folder '/sys/kernel' takes no new files"},
        {1, "cutout " + image + " " + trimap + " -o " + file("c.bmp"), "name it .png, .tif or .webp"},
        {2, "matte " + file("short.jpg") + " " + trimap + " -o " + file("alpha.png"), "cut short"},
        {2, base + file("short.png") + " -o " + file("alpha.png"), "damaged"},
        {2, base + file("loop-a") + " -o " + file("alpha.png"), "loop of symbolic links"},
        {2, base + file("big.png") + " -o " + file("alpha.png"), "is 96x64 but '" + file("big.png") + "' is 3000x2000"},
    };
    for (const auto& r : refused) {
        EXPECT_EQ(r.code, run(r.args)) << r.args << "\n" << output;
        EXPECT_TRUE(says(r.says)) << output;
        EXPECT_FALSE(says("libpng") || says("JPEG data") || says("Premature")) << output;
        EXPECT_FALSE(fs::exists(file("alpha.png"))) << r.args;  // refused before the solve
    }
    // Leftovers of writers killed part way (their process is gone, the file
    // an hour old) are removed; a live writer's (pid 1) and a fresh file (a
    // writer on another machine) are left alone.
    for (const char* name : {".alpha.png.999999999.Ab12Cd", ".alpha.png.1.Ab12Cd", ".alpha.png.999999999.Fresh1"})
        std::ofstream{file(name)};
    for (const char* name : {".alpha.png.999999999.Ab12Cd", ".alpha.png.1.Ab12Cd"})
        fs::last_write_time(file(name), fs::file_time_type::clock::now() - std::chrono::hours(1));
    // A finished stage's bar shows 100% (a batch job draws it into its log).
    ASSERT_EQ(0, run("cutout " + image + " " + trimap + " -o " + file("cut.png"), "QXMATTE_BATCH_JOB=1 ")) << output;
    EXPECT_TRUE(says("cutout ") && says("100%")) << output;
    ASSERT_EQ(0, run("fill " + trimap + " --seed 0,0 --as keep -o " + file("filled.png"))) << output;
    EXPECT_FALSE(fs::exists(file(".alpha.png.999999999.Ab12Cd")));
    EXPECT_TRUE(fs::exists(file(".alpha.png.1.Ab12Cd")) && fs::exists(file(".alpha.png.999999999.Fresh1")));
}

// Three good jobs, an image that is not one, one without marks and one whose
// trimap marks no foreground: both batches go on past the bad ones.
TEST_F(Files, BatchesGoOnResumeAndShard) {
    for (int i = 0; i < 3; ++i) {
        qxtest::Composite c = qxtest::makeComposite(90 + 4 * i, 64, 6, i + 1);
        write("images/good" + std::to_string(i) + ".png", c.image);
        write("trimaps/good" + std::to_string(i) + ".png", c.trimap);
    }
    std::ofstream(file("images/broken.png")) << "not an image";
    cv::Mat nokeep(36, 40, CV_8UC1, cv::Scalar(128));
    nokeep.colRange(0, 10).setTo(0);
    write("trimaps/broken.png", nokeep), write("trimaps/nokeep.png", nokeep);
    for (const char* name : {"images/lonely.png", "images/nokeep.png"})
        write(name, cv::Mat(36, 40, CV_8UC3, cv::Scalar::all(9)));
    const std::string folders = " " + file("images") + " " + file("trimaps") + " --out ";
    const std::string batch = "batch matte" + folders + file("out");
    EXPECT_EQ(4, run(batch + " --jobs 2")) << output;
    EXPECT_TRUE(says("done          3") && says("skipped       0") && says("failed        3")) << output;
    EXPECT_TRUE(says("broken.png") && says("no marks file named lonely")) << output;
    std::string failures = text(file("out/batch-failures.csv"));
    EXPECT_TRUE(failures.find("broken.png") != std::string::npos && failures.find("no foreground") != std::string::npos)
        << failures;
    // Again: done outputs are skipped; with --force redone.
    EXPECT_EQ(4, run(batch));
    EXPECT_TRUE(says("done          0") && says("skipped       3")) << output;
    EXPECT_EQ(4, run(batch + " --force"));
    EXPECT_TRUE(says("done          3")) << output;

    // Cut-outs: --half before the folders, as a flag of the subcommand takes no value.
    EXPECT_EQ(4, run("batch cutout --half" + folders + file("cut") + " --jobs 2")) << output;
    EXPECT_TRUE(says("done          3") && says("failed        3")) << output;
    EXPECT_TRUE(says("good2.png: note: solved at 50% scale")) << output;  // a job's note reaches the batch
    for (int i = 0; i < 3; ++i) {
        const cv::Mat cut = read("cut/good" + std::to_string(i) + ".png");
        ASSERT_EQ(cut.type(), CV_8UC4) << i;
        double low, high;
        cv::minMaxLoc(cut.reshape(1, int(cut.total())).col(3), &low, &high);
        EXPECT_TRUE(low == 0 && high == 255) << i;  // the trimap's cut and keep
    }
    EXPECT_EQ(4, filesIn(file("cut")));  // the cut-outs and the failure list, no logs or temporaries

    // Two shards of a manifest split its jobs between them, the bad one included.
    std::ofstream(file("jobs.csv")) << "image,marks,output\nimages/good0.png,trimaps/good0.png,a.png\n"
                                       "images/good1.png,trimaps/good1.png,b.png\n"
                                       "images/broken.png,trimaps/broken.png,c.png\n";
    const std::string manifest = "batch matte " + file("jobs.csv") + " --out " + file("m");
    EXPECT_EQ(4, run(manifest + " --shard 0/2"));  // a.png and c.png
    EXPECT_TRUE(says("2 jobs (shard 0/2 of 3)") && says("failed        1")) << output;
    EXPECT_EQ(0, run(manifest + " --shard 1/2"));  // b.png
    EXPECT_TRUE(fs::exists(file("m/a.png")) && fs::exists(file("m/b.png")) && !fs::exists(file("m/c.png")));
    EXPECT_EQ(4, run("batch cutout " + file("jobs.csv") + " --out " + file("n") + " --no-colours"));
    EXPECT_TRUE(fs::exists(file("n/b.png")) && !fs::exists(file("n/c.png")) && says("failed        1")) << output;
    // An edit, a second output per job or a shard past the last has no place in a batch.
    const struct { std::string args, says; } refused[] = {
        {manifest + " --shard 2/2", "--shard"},
        {manifest + " --preview p.png", "--preview"},
        {manifest + " --half", "--half"},  // an option the subcommand has not
        {"batch composite " + file("jobs.csv") + " --out " + file("m"), "composite"},
        {"batch cutout " + file("jobs.csv") + " --out " + file("m") + " --alpha a.png", "--alpha names a file"},
        {"batch cutout " + file("jobs.csv") + " --out " + file("m") + " --edit=0,0,4,4",
         "--edit belongs to an edit of one cut-out"},
    };
    for (const auto& r : refused) EXPECT_TRUE(run(r.args) == 1 && says(r.says)) << r.args << "\n" << output;
}

// Mistakes that would make a batch useless or destructive are refused before
// any job; an interrupted batch stops its jobs, leaves no hidden files (also
// none of earlier killed runs) and resumes.
TEST_F(Files, BatchMistakesAndInterruptions) {
    for (int i = 0; i < 6; ++i) {
        qxtest::Composite c = qxtest::makeComposite(260, 200, 8, i + 1);
        write("images/p" + std::to_string(i) + ".png", c.image);
        write("trimaps/p" + std::to_string(i) + ".png", c.trimap);
    }
    fs::create_directories(file("empty"));
    std::ofstream(file("twice.csv")) << "images/p0.png,trimaps/p0.png,a.png\nimages/p1.png,trimaps/p1.png,./a.png\n";
    const std::string images = file("images"), trimaps = file("trimaps");
    const struct { std::string args, says; } refused[] = {
        {"batch matte " + file("twice.csv") + " --out " + file("out"), "lines 1 and 2 both write"},
        {"batch matte " + images + " " + trimaps + " --out " + images, "the outputs would replace the inputs"},
        {"batch matte " + images + " " + file("empty") + " --out " + file("out"), "no job"},
        {"batch matte " + file("empty") + " " + trimaps + " --out " + file("out"), "holds no image files"},
        {"batch matte " + images + " --out " + file("out"), "name the marks folder after it"},
    };
    for (const auto& r : refused) {
        EXPECT_EQ(1, run(r.args)) << r.args << "\n" << output;
        EXPECT_TRUE(says(r.says)) << output;
    }
    EXPECT_FALSE(fs::exists(file("out")));
    EXPECT_EQ(6, filesIn(images));
    EXPECT_EQ(2, run("batch matte " + images + " " + trimaps + " --out /sys/kernel"));
    EXPECT_TRUE(says("'/sys/kernel' cannot be written")) << output;

    // Ctrl-C part way, with leftovers of an earlier killed batch in --out.
    fs::create_directories(file("out"));
    for (const char* name : {"out/.batch-999999999-3.log", "out/.p9.png.999999999.Xy12Zw"}) {
        std::ofstream{file(name)};
        fs::last_write_time(file(name), fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    const std::string batch = "batch matte " + images + " " + trimaps + " --out " + file("out");
    // The signal comes once the first job's log shows it running.
    run(batch + " 2>&1 & p=$!; until ls -a " + file("out") +
        " | grep -q \"^.batch-$p-\" || ! kill -0 $p; do sleep 0.01; done; kill -INT $p; wait $p; echo exit $?; true");
    EXPECT_TRUE(says("interrupted") && says("exit 130")) << output;
    int hidden = 0;
    for (const auto& e : fs::directory_iterator(file("out"))) hidden += e.path().filename().string()[0] == '.';
    EXPECT_EQ(0, hidden);
    EXPECT_LT(filesIn(file("out")), 6);
    // The same command resumes: what was done is skipped, the rest done.
    EXPECT_EQ(0, run(batch)) << output;
    EXPECT_EQ(6, filesIn(file("out")));
}

}  // namespace
