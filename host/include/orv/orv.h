// orv: pixel operations on 1-bit, 8-bit and 16-bit images.
//
//     orv::Session session;
//     orv::Image photo = session.read("photo.png");
//     orv::Image soft = session.convolve(photo, {.kernel = orv::Kernel::gaussian(5, 1.0)});
//     session.write(soft, "soft.png");
#pragma once

#include "orv/Catalogue.h"
#include "orv/Error.h"
#include "orv/Image.h"
#include "orv/Operations.h"
#include "orv/Pipeline.h"
#include "orv/Result.h"
#include "orv/Session.h"
#include "orv/Values.h"
#include "orv/Version.h"
