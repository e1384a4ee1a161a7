// Prints where the toolbar buttons and popup controls sit inside their widgets at this
// screen's layout scale, so end-to-end tests can click them with real input.
#include "colorlistitemwidget.h"
#include "defualtbasedate.h"
#include "fontlistitemwidget.h"
#include "screentoolframe.h"
#include "selectfontwidget.h"
#include "selectlinewidthwidget.h"
#include "selectmasoicwidget.h"
#include "selectstylewidget.h"
#include "showsizewidget.h"

#include <QtWidgets>
#include <cstdio>

static QJsonArray centre(QWidget* w, QWidget* root) {
    const QPoint c = w->mapTo(root, w->rect().center());
    return QJsonArray{c.x(), c.y()};
}

static QJsonArray widthDots(SelectLineWidthWidget* list, QWidget* root) {
    QJsonArray out;
    for (int row = 0; row < list->model()->rowCount(); ++row) {
        const QRect r = list->visualRect(list->model()->index(row, 0));
        const QPoint c = list->viewport()->mapTo(root, r.center());
        out.append(QJsonArray{c.x(), c.y()});
    }
    return out;
}

static QJsonObject colours(ColorListItemWidget* row, QWidget* root) {
    QJsonObject out;
    for (CustomButton* b : row->buttons())
        out.insert(b->objectName(), centre(b, root));
    return out;
}

// Centres of the size drop-down's rows, relative to the font popup, while the list is open
// (with the first row current, as in a fresh popup).
static QJsonArray comboRows(SelectFontWidget* font) {
    QComboBox* combo = font->sizeList();
    combo->showPopup();
    QApplication::processEvents();
    QAbstractItemView* view = combo->view();
    QJsonArray out;
    for (int row = 0; row < combo->count(); ++row) {
        const QPoint c = view->viewport()->mapToGlobal(
                             view->visualRect(combo->model()->index(row, 0)).center()) -
                         font->mapToGlobal(QPoint(0, 0));
        out.append(QJsonArray{c.x(), c.y()});
    }
    combo->hidePopup();
    return out;
}

static QJsonObject size(QWidget* w) {
    return QJsonObject{{"w", w->width()}, {"h", w->height()}};
}

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    Q_INIT_RESOURCE(diagramscene);
    QWidget host;
    QFile sheet(":/screenstyle.qss");
    if (sheet.open(QIODevice::ReadOnly))
        host.setStyleSheet(QString::fromLatin1(sheet.readAll()));
    host.resize(2000, 400);
    auto* bar = new ScreenToolFrame(&host);
    auto* line = new SelectStyleWidget(&host);
    auto* mosaic = new SelectMasoicWidget(&host);
    auto* font = new SelectFontWidget(&host);
    auto* badge = new ShowSizeWidget(&host);
    bar->move(0, 0);
    line->move(0, 100);
    mosaic->move(400, 100);
    font->move(0, 200);
    host.show();
    for (QWidget* w : std::initializer_list<QWidget*>{bar, line, mosaic, font})
        w->layout()->activate();
    app.processEvents();

    QJsonObject buttons;
    for (QString name : {"tool_square", "tool_circle", "tool_arrow", "tool_paintpen", "tool_mosaic",
                         "tool_text", "tool_back", "tool_save", "tool_cancel", "tool_confirm"})
        buttons.insert(name, centre(bar->button(name), bar));

    QJsonObject out{
        {"scale", DefualtBaseDate::instance()->scale},
        {"toolbar", QJsonObject{{"size", size(bar)}, {"buttons", buttons}}},
        {"linePopup", QJsonObject{{"size", size(line)},
                                  {"widths", widthDots(line->widthList(), line)},
                                  {"colors", colours(line->colorList(), line)}}},
        {"mosaicPopup",
         QJsonObject{{"size", size(mosaic)}, {"widths", widthDots(mosaic->widthList(), mosaic)}}},
        {"fontPopup", QJsonObject{{"size", size(font)},
                                  {"combo", centre(font->sizeList(), font)},
                                  {"comboRows", comboRows(font)},
                                  {"colors", colours(font->colorList(), font)}}},
        {"sizeDisplay", size(badge)},
    };
    std::fputs(QJsonDocument(out).toJson(QJsonDocument::Compact).constData(), stdout);
    std::fputs("\n", stdout);
    return 0;
}
