#include "simulator/refusing_host.h"

#include <memory>
#include <utility>

namespace zmsim {
namespace {

constexpr uint32_t kChunkRefused = 70;

/// Refuses one piece and hands the others on.
class RefusingSink : public agent::FileSink {
  public:
    RefusingSink(std::unique_ptr<agent::FileSink> sink_behind, uint32_t number)
        : sink(std::move(sink_behind)), refused(number) {}

    uint32_t Take(std::span<const uint8_t> piece) override {
        if (++taken == refused) return kChunkRefused;
        return sink ? sink->Take(piece) : 0;
    }
    uint32_t Finish() override { return sink ? sink->Finish() : 0; }

  private:
    std::unique_ptr<agent::FileSink> sink;
    const uint32_t refused;
    uint32_t taken = 0;
};

}  // namespace

agent::FileOpening RefusingHost::OpenFile(const agent::FileAnnouncement& file) {
    if (refusals.announcement != 0) return {.status = refusals.announcement, .sink = nullptr};
    agent::FileOpening opening = host.OpenFile(file);
    if (opening.status == 0 && refusals.chunk != 0) {
        opening.sink = std::make_unique<RefusingSink>(std::move(opening.sink), refusals.chunk);
    }
    return opening;
}

}  // namespace zmsim
