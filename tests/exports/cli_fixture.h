// A scratch folder and a runner for the command-line tool, shared by its tests.
#pragma once

#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "support/test_helpers.h"

struct Cli : ::testing::Test {
    qxtest::TempDir tmp;
    std::string output;
    std::string file(const std::string& name) const { return tmp.file(name); }
    std::string write(const std::string& name, const cv::Mat& m) const {
        std::filesystem::create_directories(std::filesystem::path(file(name)).parent_path());
        EXPECT_TRUE(cv::imwrite(file(name), m));
        return file(name);
    }
    cv::Mat read(const std::string& name) const { return cv::imread(file(name), cv::IMREAD_UNCHANGED); }
    std::string text(const std::string& path) const {
        std::stringstream s;
        s << std::ifstream(path, std::ios::binary).rdbuf();
        return s.str();
    }
    // The tool's exit code, with stdout and stderr in output; prefix runs first (e.g. a ulimit).
    int run(const std::string& args, const std::string& prefix = "") { return qxtest::runTool(args, output, prefix); }
    bool says(const std::string& words) const { return output.find(words) != std::string::npos; }
};
