// What a report tells of documents: their objects as JSON, and the blocks with their curves.
#pragma once

#include <deque>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "command_line/progress_line.hpp"
#include "objects/opened.hpp"
#include "report/traces.hpp"
#include "report/workers.hpp"

namespace lumvex::app {

// Reads documents one after the other. Curves are computed on all processors and written as they are finished, in the
// order in which they were found, so that the same documents make the same bytes.
class ReportContent {
public:
    // `writeBlock` gets each block's number and its text, in order.
    using WriteBlock = std::function<void(std::size_t number, const std::string& text)>;
    explicit ReportContent(WriteBlock writeBlock);

    // Throws DocumentError when the document cannot be opened. An object that cannot be read is told of in the content
    // and counted.
    void Add(const std::filesystem::path& document, const std::optional<Calibration>& calibration);

    // Waits until all blocks are written; everything but the blocks.
    nlohmann::ordered_json Finish();

    std::size_t Unreadable() const { return unreadable_; }
    std::size_t Objects() const { return objects_.size(); }
    std::size_t Blocks() const { return blocks_; }

private:
    std::size_t TypeOf(const InterfaceDescription& type);
    std::size_t Walk(const Node& object, std::size_t parent, const std::string& name, TraceSource& traces,
                     Paths& paths);
    void WalkCollection(const Node& owner, std::size_t parent, const MemberDescription& property, TraceSource& traces,
                        Paths& paths);
    std::size_t AddBlock(Trace trace);
    void WriteFinished(std::size_t most);

    WriteBlock writeBlock_;
    std::deque<std::future<std::string>> computing_;
    Workers workers_;
    std::size_t blocks_ = 0;  // that were begun
    std::size_t written_ = 0;
    std::size_t unreadable_ = 0;
    std::map<const InterfaceDescription*, std::size_t> types_;
    nlohmann::ordered_json typeList_ = nlohmann::ordered_json::array();
    nlohmann::ordered_json objects_ = nlohmann::ordered_json::array();
    nlohmann::ordered_json documents_ = nlohmann::ordered_json::array();
    std::size_t total_ = 0;  // objects of all documents so far, for the progress
    ProgressLine progress_{"drawing object"};
};

}  // namespace lumvex::app
