#pragma once

#include "Plumtide/views/Drawing.h"

/// Paints the blurred shadow of a rounded box. The blur is computed once for each look, for one corner; boxes of any
/// size stretch the middle.
/// Thread: main thread.
void paintShadow(QPainter &painter, const QRectF &box, double radius, const Drawing::Shadow &shadow);
