// Everything that host code and tools see of the objects, the regions and the dispatch.
//
//     auto session = orv::host::Session::open({.build = "baseline"});
//     auto a = orv::host::Image::make(*session, {.type = ORV_BYTE, .width = 8, .height = 8, .bands = 1});
//     auto op = orv::host::Op::make(*session, "add8");
//     op->setSource(1, a.get());
//     op->setSource(2, a.get());
//     op->setDestination(a.get());
//     orv::host::CallResult result = session->run(*op);
#pragma once

#include "orv/host/Device.h"
#include "orv/host/Faults.h"
#include "orv/host/Image.h"
#include "orv/host/Messages.h"
#include "orv/host/Object.h"
#include "orv/host/Op.h"
#include "orv/host/Region.h"
#include "orv/host/Session.h"
#include "orv/host/Tables.h"
