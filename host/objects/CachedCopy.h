// The copy that the host runs on a device's behalf.
#pragma once

namespace orv::host {

class Image;

/// Copies samples from storage position to storage position over the smaller of the two sizes, whatever origins and
/// regions the images have. Images of different data types, or without storage, are left alone.
void copySamples(Image& dst, const Image& src) noexcept;

} // namespace orv::host
