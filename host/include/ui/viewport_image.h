// Rasterising a viewport into an image: the Qt back-end of the graphics window's draw list.
#pragma once

#include <QImage>

#include "gfx.h"
#include "viewexp.h"

namespace host {

// Paints list into a new image of the list's size (ARGB32 premultiplied): the background, the
// depth-tested primitives from far to near (lines just ahead of faces at the same depth), then
// the primitives drawn with the depth test off, in the order they were drawn. A list with text
// makes the application object (ui::EnsureApplication) for its fonts.
QImage PaintDrawList(const DrawList& list);

// Draws the scene at t into vpt (DrawScene) and paints it.
QImage RenderViewport(ViewExp& vpt, TimeValue t);

// The active viewport's image (Interface::GetActiveViewExp at the current time), as the user
// would see it.
QImage CaptureActiveViewport();

}  // namespace host
