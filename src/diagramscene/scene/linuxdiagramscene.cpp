#include "linuxdiagramscene.h"

#include "screenshotgraphicsitem.h"

LinuxDiagramScene::LinuxDiagramScene(QObject* parent) : DiagramBaseScene(parent) {}

QPixmap LinuxDiagramScene::getPixmap() {
    return screenShotItem_->getPixmap();
}
