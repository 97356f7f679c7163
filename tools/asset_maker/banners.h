#pragma once
// The contact area's banner pictures: shapes and colour only, no text (the bytes must not
// depend on the fonts a machine has).

#include <QImage>

namespace nq::assets {

// Sizes in pixels: as wide as the contact area of the window at its design width.
inline constexpr int kBannerWidth = 284;
inline constexpr int kContactBannerHeight = 56;
inline constexpr int kPartnerBannerHeight = 180;

// Image1, under the lists: blue to teal, soft light spots, two speech bubbles.
QImage contactBanner();
// imgHVR, alone on the partner page: a warm gradient with two linked rings.
QImage partnerBanner();

}  // namespace nq::assets
