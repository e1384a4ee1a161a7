#ifndef DRAWDEFINE_H
#define DRAWDEFINE_H

#include <QColor>
#include <QFont>
#include <QMetaType>

// The numbers are compared all over the system; never renumber.
enum PaintShape : int {
    PaintShapesNone = 0,
    PaintShapesReserved1 = 1,
    PaintShapesCircle = 2,
    PaintShapesRectangle = 3,
    PaintShapesMosaic = 4,
    PaintShapesPen = 5,
    PaintShapesText = 6,
    PaintShapesReserved7 = 7,
    PaintShapesArrow = 8,
};

enum ItemPaintStatus : int {
    PaintStatusCreating = 0,
    PaintStatusEditing = 1,
    PaintStatusFinished = 2,
};

enum PaintOperate : int {
    FinishOperate = 0,
    CreateNewOperate = 1,
    EditOperate = 2,
};

enum IremDirection : int {
    DirectionNone = 0,
    DirectionTop = 1,
    DirectionBottom = 2,
    DirectionLeft = 3,
    DirectionRight = 4,
    DirectionTopLeft = 5,
    DirectionTopRight = 6,
    DirectionBottomLeft = 7,
    DirectionBottomRight = 8,
};

struct StyleInfo {
    QFont font;
    QColor color;
    int width = 0;
};

Q_DECLARE_METATYPE(StyleInfo)
Q_DECLARE_METATYPE(PaintShape)

#endif // DRAWDEFINE_H
