// The value each export returns, told in words: success, and every failure
// value the exports document.
#include <opencv2/core.hpp>

#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

#include "qxhost.h"

namespace qxhost {

namespace {

// The library's internal failure codes, as some exports return them (as they
// are or biased by -1000).
const char* internalCode(int code) {
    switch (code) {
        case 102: return "a work image could not be allocated (out of memory)";
        case 103: return "a work image's guard row was overwritten (an internal overrun; please report it)";
        case 112: return "a work image wider than 5000 pixels could not be allocated (out of memory)";
        case 113: return "a work image higher than 5000 rows could not be allocated (out of memory)";
        case 121: return "the sparse solver failed while analysing the system";
        case 122: return "the sparse solver failed while factorising the system";
        case 123: return "the sparse solver failed while solving the system";
        case 125: return "the sparse solver ran out of memory";
        case 130: return "an array of the matting system could not be allocated (out of memory)";
        case -1:
            return "the matting system is too large (over 500000 unknown pixels or 100000000 matrix entries); "
                   "use a narrower unknown band or a smaller image";
        case -5: return "the marks do not allow a solve (they need keep marks, cut marks and at least 3 unknown pixels)";
        default: return nullptr;
    }
}

enum class Kind {
    Biased,       // 1, internal codes minus 1000, -1000 anything else
    Unbiased,     // 1, internal codes as they are, -1 out of memory, -1000 anything else
    Foreground,   // 0, internal codes as they are, -1 out of memory, -1000
    AlwaysOne,    // returns 1; failures pass to the host as exceptions
    Checked,      // 1, or 0 for arguments refused before anything is written
    Nothing,      // returns nothing; failures pass to the host as exceptions
    Trace,        // 1 tracing on and written, 0 otherwise
    FloodFill,    // 1, -3, -1
    ToneMode,     // 1, 0 for an unknown mode, bad sizes or no memory
    Refused,      // 1, -1 for arguments refused before any work
    Unknown,
};

Kind kindOf(const std::string& name) {
    static const struct {
        const char* name;
        Kind kind;
    } table[] = {
        {"setDebugTrace", Kind::Trace},         {"qxSetupLib", Kind::Trace},
        {"qxMaskAlpha", Kind::Biased},          {"qxGrabCut", Kind::Biased},
        {"qxKeepCutToAlpha", Kind::Unbiased},   {"qxRecoverForegroundCell", Kind::Unbiased},
        {"qxRecoverForeground", Kind::Foreground}, {"qxGrabCutEdgeGen", Kind::Nothing},
        {"qxGrabCutDeleteBuf", Kind::Nothing},  {"qxShowKeepBlend", Kind::Nothing},
        {"qxHairSelect", Kind::AlwaysOne},      {"qxColorRangeSelect", Kind::AlwaysOne},
        {"qxDesaturation", Kind::AlwaysOne},    {"qxShowImageAlpha", Kind::Refused},
        {"qxMaskBBox", Kind::Checked},          {"qxDrawLine8u", Kind::Checked},
        {"qxScaleAlpha", Kind::Refused},        {"qxfilterIm8u", Kind::Refused},
        {"qxPreviewAutoLevel", Kind::Refused},  {"qxFloodFillAlpha", Kind::FloodFill},
        {"qxRGB2YCbCrAutoLevel", Kind::ToneMode},
    };
    for (const auto& entry : table)
        if (name == entry.name) return entry.kind;
    return Kind::Unknown;
}

std::string withNumber(const std::string& name, int value, const std::string& meaning) {
    return name + " returned " + std::to_string(value) + ": " + meaning;
}

}  // namespace

int successValue(const std::string& exportName) { return exportName == "qxRecoverForeground" ? 0 : 1; }

std::string describeFailure(const std::string& name, int value) {
    const Kind kind = kindOf(name);
    if (kind == Kind::Trace)
        return withNumber(name, value,
                          value == 1 ? "tracing is on and the trace file was written"
                          : value == 0 ? "tracing is off, the trace file could not be written, or (qxSetupLib) "
                                         "a negative mask asked only whether the library is there"
                                       : "not a value this export returns");
    if (value == successValue(name) && kind != Kind::Unknown) return withNumber(name, value, "success");
    std::string meaning;
    switch (kind) {
        case Kind::Biased:
            if (value == -1000)
                meaning = "arguments refused before anything was touched (a missing plane or mask, a negative "
                          "size, a row step shorter than a row, an estimate that is not a finite number of at "
                          "least 0), or an unexpected failure inside the library";
            else if (name == "qxGrabCut" && value == -1) meaning = "out of memory";
            else if (name == "qxGrabCut" && value == -2)
                meaning = "the job was refused before anything was touched: a missing plane, or a grab rectangle "
                          "that is empty, leaves the image, has its larger side outside 101 to 3199, is too narrow "
                          "for its reduced copy (10 pixels or less after halving), or differs in size from the "
                          "session's";
            else if (const char* code = internalCode(value + 1000))
                meaning = std::string(code) + " (internal code " + std::to_string(value + 1000) + ")";
            break;
        case Kind::Unbiased:
        case Kind::Foreground:
            if (value == -1000)
                meaning = name == "qxKeepCutToAlpha"
                              ? "an unexpected failure inside the library"
                              : "arguments refused before anything was touched (a missing plane, a negative "
                                "rectangle, a rectangle reaching outside the image, a row step shorter than a "
                                "row), or an unexpected failure inside the library";
            else if (value == -3 && name == "qxKeepCutToAlpha")
                meaning = "the job was refused before anything was touched: a missing buffer, a size below 1, a "
                          "row step shorter than a row, or a rectangle that is empty or leaves the image";
            else if (value == -5 && name == "qxKeepCutToAlpha")
                meaning = "the marks do not allow a solve: no foreground (keep) or no background (cut) is marked, "
                          "or fewer than 3 pixels are left unknown";
            else if (value == -1 && name == "qxKeepCutToAlpha")
                meaning = "out of memory, or a tile of the system is too large (over 500000 unknown pixels)";
            else if (value == -1)
                meaning = "out of memory (or a failure inside one tile's colour solve)";
            else if (const char* code = internalCode(value))
                meaning = std::string(code) + " (internal code " + std::to_string(value) + ")";
            break;
        case Kind::FloodFill:
            if (value == -3) meaning = "the seed lies outside the image, or the image has no pixels";
            else if (value == -1) meaning = "out of memory";
            break;
        case Kind::ToneMode:
            if (value == 0)
                meaning = "the mode is not one of 0 to 4, the image has no pixels (or a step shorter than a row), "
                          "or memory for the work planes ran out";
            break;
        case Kind::Refused:
            if (value == -1) {
                meaning = "the image has no pixels or a step shorter than a row";
                if (name == "qxScaleAlpha" || name == "qxShowImageAlpha")
                    meaning += ", or high and low are equal (nothing to stretch from)";
                if (name == "qxShowImageAlpha") meaning += ", or the colour is missing";
            }
            break;
        case Kind::Checked:
            if (value == 0)
                meaning = "arguments refused, nothing written (a missing mask or output, a negative size, a row "
                          "step shorter than a row" +
                          std::string(name == "qxDrawLine8u" ? ", a radius outside 0 to 16383)" : ")");
            break;
        case Kind::AlwaysOne:
        case Kind::Nothing:
            meaning = "not a value this export returns (its failures arrive as exceptions)";
            break;
        default:
            return name + " returned " + std::to_string(value) + " (not one of the library's exports)";
    }
    if (meaning.empty()) meaning = "a failure value this export does not document";
    return withNumber(name, value, meaning);
}

LibraryFailure::LibraryFailure(const std::string& name, int returned)
    : std::runtime_error(describeFailure(name, returned)), exportName(name), value(returned) {}

LibraryFailure::LibraryFailure(const std::string& name, int returned, const std::string& sentence)
    : std::runtime_error(sentence), exportName(name), value(returned) {}

void checkReturn(const std::string& exportName, int value) {
    if (value != successValue(exportName)) throw LibraryFailure(exportName, value);
}

bool isOutOfMemory(const std::exception& e) {
    if (dynamic_cast<const std::bad_alloc*>(&e)) return true;
    if (const auto* cvError = dynamic_cast<const cv::Exception*>(&e)) return cvError->code == cv::Error::StsNoMem;
    if (const auto* systemError = dynamic_cast<const std::system_error*>(&e))
        return systemError->code() == std::errc::resource_unavailable_try_again ||
               systemError->code() == std::errc::not_enough_memory;
    // OpenCV's thread pool reports a thread it could not start as a plain
    // runtime_error with this text.
    return std::strncmp(e.what(), "pthread_create has failed", 25) == 0;
}

}  // namespace qxhost
