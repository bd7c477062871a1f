// orv: pixel operations on 1-bit, 8-bit and 16-bit images.
//
//     orv::Session session;
//     orv::Image photo = session.read("photo.png");
//     const orv::Image images[] = {photo};
//     orv::Image soft = session.apply("convolve", images, {{"kernel", orv::Kernel::gaussian(5, 1.0)}}).image;
//     session.write(soft, "soft.png");
#pragma once

#include "orv/Catalogue.h"
#include "orv/Error.h"
#include "orv/Image.h"
#include "orv/Pipeline.h"
#include "orv/Session.h"
#include "orv/Values.h"
