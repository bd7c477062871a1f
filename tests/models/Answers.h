// The models: slow and obvious answers to what must come of a call. Each is written from what the operation does and
// not from its kernel. Model tests make the calls that are hard for a family; what makes calls of every function
// (orvcalls, the fuzzer of calls) asks answerOf.
#pragma once

#include <string>

#include "support/ModelKit.h"

namespace orvmodel {

/// Writes what comes of a call to the scene and sets the rest on call.expect. Throws Unanswered where the model does
/// not know.
using Answer = void (*)(const orvcase::Case&, orvcase::Call&, Scene&);

/// The model of the function that a call is of; null where there is none.
Answer answerOf(const orvcase::Call& call);

/// Fills in what must come of a case of one call, where there is a model that knows. Answers whether there is.
bool answerCase(orvcase::Case& c);

/// For models that reckon with ordinary numbers: throws Unanswered where one is not, or is greater than the limit.
void onlyWithin(double limit, const orvcase::Values& numbers);
/// For models that read one image and write another.
void onlyApart(const orvcase::Call& call);
/// An image as it stands in the scene, with samples of its own.
orvcase::Image alone(const Scene& scene, const std::string& name);
/// All samples of an image.
void put(Scene& scene, const std::string& name, const orvcase::Values& samples);

void answerPixelwise(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerCopy(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerCopyPattern(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerColour(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerChooseColormap(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerNearestColor(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerOrderedDither(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerErrorDiffusion(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerExtrema(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerHistogram(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerSqueezeRange(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerFill(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerSoftFill(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerPaint(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerTranspose(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerSubsampleAdaptive(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerSubsampleCounts(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerMorphology(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerSobel(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerConvolve(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerAffine(const orvcase::Case& c, orvcase::Call& call, Scene& scene);
void answerTableWarp(const orvcase::Case& c, orvcase::Call& call, Scene& scene);

} // namespace orvmodel
