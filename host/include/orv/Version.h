// The version of the headers; orv::version() is that of the library.
#pragma once

#define ORV_VERSION "0.1.0"
