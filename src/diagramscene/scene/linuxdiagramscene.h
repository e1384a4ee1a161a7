#ifndef LINUXDIAGRAMSCENE_H
#define LINUXDIAGRAMSCENE_H

#include "diagrambasescene.h"

class LinuxDiagramScene : public DiagramBaseScene {
    Q_OBJECT
public:
    explicit LinuxDiagramScene(QObject* parent = nullptr);
    QPixmap getPixmap() override;
};

#endif // LINUXDIAGRAMSCENE_H
