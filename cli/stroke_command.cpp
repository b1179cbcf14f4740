// qxmatte stroke [MASK | --like IMAGE] ... -o OUT: draw pen strokes into a
// mask, or into a new one of an image's size that starts as "no mark" (128).
#include <map>
#include <memory>
#include <sstream>

#include "cli.h"

namespace qxcli {

namespace {

const std::map<std::string, int> kModes{{"cut", 0}, {"keep", 1}, {"unknown", 2}, {"fixed", 3}};

struct Stroke {
    int mode = 1;
    std::vector<cv::Point> points;
};

// "MODE:X1,Y1,X2,Y2[,X3,Y3...]": a line through the points with one pen.
bool parseStroke(const std::string& text, Stroke& stroke, std::string& why) {
    const auto colon = text.find(':');
    const auto mode = kModes.find(text.substr(0, colon));
    if (colon == std::string::npos || mode == kModes.end()) {
        why = "starts with keep:, cut:, unknown: or fixed:";
        return false;
    }
    stroke.mode = mode->second;
    stroke.points.clear();
    std::istringstream in(text.substr(colon + 1));
    std::vector<int> numbers;
    std::string item;
    while (std::getline(in, item, ',')) {
        try {
            std::size_t used = 0;
            numbers.push_back(std::stoi(item, &used));
            if (used != item.size()) throw std::invalid_argument(item);
        } catch (const std::exception&) {
            why = "has '" + item + "' where a whole number belongs";
            return false;
        }
    }
    if (numbers.size() < 2 || numbers.size() % 2) {
        why = "needs pairs X,Y of whole numbers";
        return false;
    }
    for (std::size_t i = 0; i < numbers.size(); i += 2) stroke.points.emplace_back(numbers[i], numbers[i + 1]);
    return true;
}

struct Options {
    std::string mask, like, output, from, to, mode = "keep";
    std::vector<std::string> strokes;
    int radius = 2, value = 255;
};

void draw(cv::Mat& mask, cv::Point a, cv::Point b, int radius, int mode, int value) {
    qxDrawLine8u(mask.data, static_cast<int>(mask.step), mask.cols, mask.rows, a.x, a.y, b.x, b.y, radius, mode,
                 value);
}

int run(const Options& c) {
    if (c.mask.empty() && c.like.empty())
        throw std::invalid_argument("give a MASK to draw into, or --like IMAGE to start from no mark");
    if (c.from.empty() && c.strokes.empty())
        throw std::invalid_argument("give a stroke: --from and --to, or --stroke MODE:X1,Y1,X2,Y2");
    cv::Mat mask;
    if (!c.like.empty()) {
        const cv::Mat image = readColour(c.like);
        mask = cv::Mat(image.size(), CV_8UC1, cv::Scalar(128));
    } else {
        mask = readMask(c.mask);
    }
    checkOutputs({c.output}, {c.mask, c.like});
    if (!c.from.empty()) {
        int x1, y1, x2, y2;
        parsePoint(c.from, x1, y1);
        parsePoint(c.to, x2, y2);
        draw(mask, {x1, y1}, {x2, y2}, c.radius, kModes.at(c.mode), c.value);
    }
    // In the order given, so a later stroke paints over an earlier one.
    for (const std::string& text : c.strokes) {
        Stroke s;
        std::string why;
        parseStroke(text, s, why);
        if (s.points.size() == 1) draw(mask, s.points[0], s.points[0], c.radius, s.mode, c.value);
        for (std::size_t i = 1; i < s.points.size(); ++i)
            draw(mask, s.points[i - 1], s.points[i], c.radius, s.mode, c.value);
    }
    writeImage(c.output, mask);
    return kExitOk;
}

}  // namespace

Command addStroke(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("stroke", "Draw strokes of marks into an 8-bit mask, or into a new one");
    sub->footer(
        "Either MASK, an existing mask to draw into, or --like IMAGE, a new mask of that image's size where\n"
        "nothing is marked yet (128). Strokes: --from/--to/--mode for one line, and --stroke MODE:X1,Y1,X2,Y2[,...]\n"
        "as often as needed, drawn in the order given, each through all its points with the pen of --radius.\n"
        "Example, marks for `qxmatte grabcut --marks` from nothing:\n"
        "  qxmatte stroke --like photo.png --radius 8 --stroke keep:200,100,200,400 --stroke cut:10,10,10,500 -o marks.png");
    auto* maskOption = sub->add_option("MASK", c->mask, "8-bit mask image to draw into (read only)");
    auto* likeOption = sub->add_option("--like", c->like, "Start from no mark (128) at the size of this image");
    maskOption->excludes(likeOption);
    auto* fromOption = sub->add_option("--from", c->from, "Start point X,Y of a single stroke")->check(pointValidator());
    auto* toOption = sub->add_option("--to", c->to, "End point X,Y of a single stroke")->check(pointValidator());
    fromOption->needs(toOption);
    toOption->needs(fromOption);
    sub->add_option("--stroke", c->strokes, "A stroke MODE:X1,Y1,X2,Y2[,X3,Y3...]; repeat for more")
        ->check(CLI::Validator(
            [](std::string& text) {
                Stroke s;
                std::string why;
                return parseStroke(text, s, why) ? std::string() : "the stroke '" + text + "' " + why;
            },
            "MODE:X,Y,..."));
    sub->add_option("--radius", c->radius, "Pen radius; the stroke is 2*R+1 wide")
        ->capture_default_str()
        ->check(CLI::Range(0, 16000));
    sub->add_option("--mode", c->mode, "Of the --from/--to stroke: keep (255), cut (1), unknown (126) or fixed (odd --value)")
        ->capture_default_str()
        ->check(CLI::IsMember({"keep", "cut", "unknown", "fixed"}));
    sub->add_option("--value", c->value, "Value of a fixed stroke, made odd")
        ->capture_default_str()
        ->check(CLI::Range(0, 255));
    sub->add_option("-o,--output", c->output, "Output mask image")->required();
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
