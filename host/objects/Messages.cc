#include "orv/host/Messages.h"

#include <algorithm>

namespace orv::host {
namespace {

constexpr Message table[] = {
    {"di-1", "out of memory"},
    {"di-6", "the region of an image cannot be had"},
    {"di-7", "two regions cannot be intersected"},
    {"di-8", "the rectangles of a region cannot be had"},
    {"di-9", "the samples of the first source cannot be brought into memory"},
    {"di-10", "the samples of the destination cannot be brought into memory"},
    {"di-11", "the samples of the third source cannot be brought into memory"},
    {"di-12", "the rectangles to work on cannot be had"},
    {"di-14", "the region of the pattern cannot be copied"},
    {"di-15", "the samples of the second source cannot be brought into memory"},
    {"di-16", "the region of the pattern cannot be moved to its next place"},
    {"di-24", "the rectangles of the transposed region cannot be had"},
    {"di-95", "a colormap is to be made from an empty source"},
    {"di-120", "no copy operation can be made"},
    {"di-138", "the samples of the addend cannot be brought into memory"},
    {"di-145", "no region can be made to clip with"},
    {"di-166", "the lookup has more entries than a sample of the destination can count"},
    {"di-167", "a colormap can be chosen for an image of 3 bands only"},
    {"di-171", "division by zero; such samples were set to a limit"},
    {"di-173", "the lookup and the destination differ in their number of bands"},
    {"di-175", "the output type of the lookup is not the data type of the destination"},
    {"di-202", "the source colour space is missing"},
    {"di-203", "the destination colour space is missing"},
    {"di-204", "there is no conversion between these colour spaces and images"},
    {"di-205", "the lookup is not a colour cube"},
    {"di-209", "the image belongs to no session"},
    {"di-210", "no lookup can be made for the result"},
    {"di-211", "the range of an image of 1 band only can be squeezed"},
    {"di-216", "the samples of the source cannot be brought into memory for error diffusion"},
    {"di-258", "the seed lies outside the image, or its pixel fails the test for the inside"},
    {"di-289", "the kernel cannot spread an error: its key or its weights do not fit"},
    {"di-TBD", "an overlapping source cannot be copied aside"},
};

} // namespace

std::span<const Message> messages() noexcept { return table; }

const char* messageText(std::string_view id) noexcept {
    const auto* const found = std::ranges::find_if(table, [id](const Message& m) { return id == m.id; });
    return found == std::end(table) ? "the device reports a failure that this host has no words for" : found->text;
}

std::string describe(const Report& report) {
    std::string text = report.operation.empty() ? "device" : report.operation;
    text.append(": ").append(messageText(report.id)).append(" [").append(report.id);
    if (!report.file.empty()) text.append(", ").append(report.file).append(":").append(std::to_string(report.line));
    return text.append("]");
}

} // namespace orv::host
