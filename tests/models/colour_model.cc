// Colour conversion by the model of one pixel.
#include "models/colour_model.h"
#include "models/Answers.h"

namespace orvmodel {
namespace {

std::string spaceName(int opcode) { return orvcase::colorspaceNames().at(static_cast<std::size_t>(opcode) - 1); }

int opcodeOf(const orvcase::Case& c, const std::string& name) {
    for (const orvcase::Colorspace& space : c.colorspaces) {
        if (space.name != name) continue;
        for (int opcode : colourmodel::opcodes) {
            if (spaceName(opcode) == space.space) return opcode;
        }
    }
    return 0;
}

} // namespace

void answerColour(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    const int from = opcodeOf(c, call.params.at(0).name), to = opcodeOf(c, call.params.at(1).name);
    const std::string& s = call.src[0];
    scene.touchNone(call.dst);
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};
    const auto sourceBands = static_cast<unsigned>(colourmodel::bands(from));
    const auto bands = static_cast<unsigned>(colourmodel::bands(to));
    if (from == to || scene.bands(s) < sourceBands || scene.bands(call.dst) < bands) {
        call.expect.status = 2;
        call.expect.errors = {{"di-204", 4, 1, 882, "ColorConvertMemory.cc"}};
        return;
    }
    const colourmodel::Model model(from, to, scene.image(s).type == ORV_BYTE ? 8 : 16);
    eachPixel(scene.rects({s, call.dst}), [&](long x, long y) {
        std::vector<int> pixel(sourceBands);
        for (unsigned band = 0; band < sourceBands; ++band) pixel[band] = static_cast<int>(scene.at(s, x, y, band));
        const colourmodel::Samples result = model.of(pixel);
        for (unsigned band = 0; band < bands; ++band) {
            scene.put(call.dst, x, y, band, result[band].value);
            if (result[band].edge) scene.leaveOpen(call.dst, x, y, band);
        }
    });
}

} // namespace orvmodel
