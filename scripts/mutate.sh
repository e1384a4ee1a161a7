#!/usr/bin/env bash
# Mutation check: applies each fault below to a fresh copy of the tree, rebuilds build/ there and
# runs the test suites, cheapest first, until one fails (the mutant is killed) or all pass (it
# survived). Slow (an hour or more); not part of `npm test`.
#
#   scripts/mutate.sh [--tree DIR] [--work DIR] [--only ID[,ID...]] [--prior FILE]
#                     [--trust-suites] [--list]
#
# --tree: the tree under test (default: this checkout). --work: where the copy, its build/, the
# logs and summary.txt live (default /tmp/sc-mutate). The copy keeps its build/ between runs, at
# the same path, so rebuilds stay incremental. A fault whose fragment is not found exactly once
# is reported NOT APPLIED: fix its fragment rather than ignore it.
# --prior: an earlier summary (default: the work dir's last one, else docs/mutation.txt, the
# last full run's); a mutant's earlier killer runs first, which only changes the order, never
# the verdict. --trust-suites: skip the unmutated
# pass over every suite, for a tree whose full test run was just seen passing.
set -uo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
tree=$here work=/tmp/sc-mutate only= list=0 prior= trust=0 suite_timeout=${MUTATE_SUITE_TIMEOUT:-900}
while [ $# -gt 0 ]; do
    case $1 in
    --tree) tree=$(cd "$2" && pwd); shift 2 ;;
    --work) work=$2; shift 2 ;;
    --only) only=,$2,; shift 2 ;;
    --prior) prior=$2; shift 2 ;;
    --trust-suites) trust=1; shift ;;
    --list) list=1; shift ;;
    *) echo "usage: $0 [--tree DIR] [--work DIR] [--only ID[,ID]] [--prior FILE] [--trust-suites] [--list]" >&2; exit 2 ;;
    esac
done

ids=() files=() froms=() tos=() whats=()
# m ID FILE FRAGMENT REPLACEMENT WHAT-A-USER-WOULD-SEE
m() { ids+=("$1"); files+=("$2"); froms+=("$3"); tos+=("$4"); whats+=("$5"); }
Q=src/QtGui/qapplication.cpp W=src/diagramscene/widget S=src/diagramscene/scene
D=src/diagramscene/drawitem G=src/diagramscene/global
m bind-image $Q 'return QStringLiteral("image");' 'return QStringLiteral("save");' \
    'a confirmed capture reports "save"'
m bind-urls $Q 'mime->setUrls({url});' 'mime->setText(url.toString());' \
    'setClipboardUrl puts plain text, not a file URL'
m bind-path src/qt.cpp 'QString g_ImagePath = QStringLiteral("./");' 'QString g_ImagePath = QStringLiteral(".");' \
    'screenCapture returns "." instead of "./"'
m ses-enter $W/eventfilter.cpp 'if (manager->textFlag || !manager->selectDoneFlag)' 'if (manager->textFlag)' \
    'Enter before any region ends the session'
m ses-right $W/eventfilter.cpp '->button() == Qt::RightButton)' '->button() == Qt::MiddleButton)' \
    'the right button no longer cancels'
m base-scale $G/defualtbasedate.cpp 'const double s = 2.0 * std::min(' 'const double s = 2.0 * std::max(' \
    'wrong sizes on a screen not 16:10'
m base-round $G/defualtbasedate.cpp 'return QSize(int(w * s), int(h * s));' 'return QSize(qRound(w * s), qRound(h * s));' \
    'sizes rounded instead of truncated at fractional scales'
m win-dim $W/mainwindow.cpp 'QColor(53, 53, 53, 133)' 'QColor(53, 53, 53, 100)' \
    'the desktop is dimmed less'
m win-popup $W/mainwindow.cpp 'return QPoint(left, y + 10 + t + 10);' 'return QPoint(left, y + 10 + t);' \
    'the style popup touches the toolbar'
m win-handles $W/mainwindow.cpp 'paintScene->finishPaint();' '' \
    'the annotation being edited is copied with its handles'
m win-screens $W/mainwindow.cpp 'SLOT(slotScreenCountChanged(int)));' 'SLOT(update()));' \
    'a monitor plugged in or out leaves the session running'
m sel-copy $S/linuxdiagramscene.cpp 'return screenShotItem_->getPixmap();' 'return QPixmap();' \
    'confirming a region copies nothing'
m sel-width $S/diagrambasescene.cpp 'std::abs(currentPoint_.x() - pressPoint_.x()),' 'std::abs(currentPoint_.x() - pressPoint_.x()) + 1,' \
    'a dragged region is a pixel too wide'
m sel-dblclick $S/diagrambasescene.cpp 'window_->slotFinishScreenshots();' 'window_->slotExitScreenshots();' \
    'a double click on the region cancels instead of confirming'
m sel-corner $S/diagrambasescene.cpp 'QPointF corner(r.x() + r.width(), r.y() + r.height());' 'QPointF corner(r.x() + r.width(), r.y());' \
    'the toolbar sits by the top of the region'
m ann-undo $S/paintramscene.cpp 'StyleManager::instance()->undo();' 'StyleManager::instance()->cleanSelectedItem();' \
    'undo does nothing'
m ann-arrow $S/paintramscene.cpp 'setArrowPoint(pressPoint_, currentPoint_);' 'setArrowPoint(currentPoint_, pressPoint_);' \
    'arrows point back to where the drag started'
m ann-text $S/paintramscene.cpp 'text->setTextInteractionFlags(Qt::TextEditorInteraction);' '' \
    'a new text takes no typing'
m style-undo $G/stylemanager.cpp 'removeItem(itemList.last());' 'removeItem(itemList.first());' \
    'undo removes the oldest annotation'
m style-create $G/stylemanager.cpp '*info = styleOf(drawingShape);' '' \
    'new annotations ignore the chosen colour and width'
m style-change $G/stylemanager.cpp 'it.value()->color = info.color;' '' \
    'a colour picked while an annotation is selected does not reach it'
m item-outline $D/shapebasegraphicsitem.cpp 'r.width() + t, r.height() + t);' 'r.width() + t / 2, r.height() + t / 2);' \
    'rectangles and ellipses are picked a little off their outline'
m item-arrowhead $D/arrowgraphicitem.cpp 'const double l = 2.0 * width;' 'const double l = 3.0 * width;' \
    'arrow heads too big'
m item-pencap $D/randomlinegraphicsitem.cpp 'linePen.setCapStyle(Qt::RoundCap);' 'linePen.setCapStyle(Qt::FlatCap);' \
    'pen strokes have square ends and gaps at joints'
m item-mosaic $D/mosaicgraphicsitem.cpp 'return (style ? style->width : 0) * manager->getMosaicMultiplier();' 'return style ? style->width : 0;' \
    'the mosaic brush is a third of its size'
m item-pixelate $D/mosaicgraphicsitem.cpp 'blue[size_t(j)] += packedRB[size_t(j)] & 0xffffu;' 'blue[size_t(j)] += packedRB[size_t(j)] & 0xffu;' \
    'pixelated blocks have wrong blue'
m item-textflag $D/diagramtextitem.cpp 'StyleManager::instance()->textFlag = false;' '' \
    'after a text, Enter no longer confirms'
m item-frame $D/screenshotgraphicsitem.cpp 'area += QRect(int(p.x()) - edge, int(p.y()) - edge, 2 * edge + 1, 2 * edge + 1);' '' \
    'a dragged frame leaves its old middle handles behind'
m item-square $D/mosaicgraphicsitem.cpp 'update(squareAt(p, squareSide()).adjusted(-1, -1, 1, 1));' 'update(squareAt(p, squareSide()).adjusted(0, 0, -4, -4));' \
    'mosaic squares show up cut at their right and bottom'
m xcb-screen src/platform/x11/xcbconnection.h 'if (it.rem)
            screen_ = it.data;' '' \
    'nothing is snapped to on X11 and the keyboard focus is not kept'
m ses-grab src/platform/x11/x11screengrab.cpp 'p[i] |= 0xff000000u;' '' \
    'the frozen desktop keeps whatever the X server left in the pixel padding'
P=src/platform
m plat-nested $P/desktopplatform.cpp 'if (wayland && onXWayland())' 'if (wayland)' \
    'an X server nested in a Wayland session captures the outer desktop'
m plat-session $P/session.cpp '!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||' '' \
    'a Wayland session is captured as X11: a black desktop'
m plat-place $P/overlayplacement.cpp 'overlay->windowFlags() | Qt::X11BypassWindowManagerHint;' 'overlay->windowFlags();' \
    'the window manager places the overlay and it stays above the save dialog'
m plat-union $P/desktoplayout.cpp 'd.device |= deviceGeometry(screen);' 'd.device = deviceGeometry(screen);' \
    'the overlay covers the last monitor only'
m plat-stacking $P/x11/x11windowsnapshot.cpp 'for (int i = n - 1; i >= 0; --i) {' 'for (int i = 0; i < n; ++i) {' \
    'where two windows overlap, a click takes the one underneath'
m plat-gtkframe $P/x11/x11windowsnapshot.cpp 'if (inner.isValid())' 'if (false)' \
    "a client-side decorated window is taken with its shadow"
m plat-shmdepth $P/x11/x11screengrab.cpp 'if (!rootIsRgb32(c, screen))' 'if (!rootIsRgb32(c, screen) && false)' \
    'on a 16-bit X server the frozen desktop is garbage'
m plat-scale $P/desktoplayout.cpp 'd.ratio = anchor->devicePixelRatio();' 'd.ratio = 1;' \
    'at a fractional scale the copy is not what was dragged'
m plat-portalratio $P/portal/portaldesktop.cpp 'qMax(1.0, qreal(image.width()) / d.logical.width());' 'qMax(1, image.width() / d.logical.width());' \
    'on an output at 150 % the copy is scaled down'
m item-ratio $D/screenshotgraphicsitem.cpp 'ratio_ = pixmap ? pixmap->devicePixelRatioF() : 1;' 'ratio_ = pixmap ? int(pixmap->devicePixelRatioF()) : 1;' \
    'at a fractional scale the copy is in logical pixels'
m item-mosaicratio $D/mosaicgraphicsitem.cpp 'const QSize size(qRound(w * ratio_), qRound(h * ratio_));' 'const QSize size(w, h);' \
    'at a fractional scale the mosaic is blurred, in uneven blocks'
m sel-precise $S/diagrambasescene.cpp 'return view->viewportTransform().inverted().map(viewPos_);' 'return event->scenePos();' \
    'at 175 % a drag is copied up to two pixels too wide'
m win-monitor $W/mainwindow.cpp 'const QRect m = monitorAt(QPoint(x - 1, y - 1));' 'const QRect m = rect();' \
    'the toolbar straddles two monitors or sits where no monitor shows it'
m win-unseen $W/mainwindow.cpp 'painter.fillRect(r, Qt::black);' '(void)r;' \
    'parts of the desktop no monitor shows pass for the desktop'
m win-render $W/mainwindow.cpp 'if (r.width() == int(r.width()) && r.height() == int(r.height()))' 'if (true)' \
    'at a fractional scale an annotated window is copied a pixel off'
m plat-link $P/portal/portalscreenshot.cpp 'info.isSymLink() || ' '' \
    'a link answered by the portal is removed'
m gn-focushop $P/x11/x11keyboardfocus.cpp 'XCB_INPUT_FOCUS_POINTER_ROOT, conn_->screen()->root,' 'XCB_INPUT_FOCUS_PARENT, target,' \
    'on a busy GNOME Shell the keyboard often never reaches the overlay'
m gn-sizebox $S/diagrambasescene.cpp 'screenShotItem_->setShowSize(!dynamicRect_.isEmpty());' '' \
    'on Wayland a "0 x 0" box floats over the desktop once the mouse moves'
m plat-remove $P/portal/portalscreenshot.cpp '    QFile::remove(file);' '' \
    "every capture on GNOME or KDE leaves a copy of the desktop in a file"
m plat-handle $P/portal/portalscreenshot.cpp 'if (handle != requestPath && !request->answered) {' 'if (false) {' \
    'a portal that chooses its own request path never answers: no capture'
m plat-age $P/portal/portalscreenshot.cpp 'info.lastModified().toUTC() < asked.addSecs(-2)' 'false' \
    'an older file answered by the portal is removed'
m plat-late $P/portal/portalscreenshot.cpp 'if (code == 0 && QImageReader(file).canRead())' 'if (false)' \
    "a screenshot the portal sends after the capture gave up stays on disk"
m plat-owner $P/portal/portalscreenshot.cpp 'info.ownerId() != ::geteuid() ||' '' \
    "another user's file answered by the portal is removed"
T=src/QtGui/guithread.cpp
m host-glib $T 'noGlib("QT_NO_GLIB", "1");' 'noGlib("QT_NO_GLIB", "");' \
    "Qt's loop runs the host's GLib sources inside screenCapture"
m host-xlib $T '~XlibHandlersScope() {
        XSetErrorHandler(error_);' '~XlibHandlersScope() {' \
    "Qt's Xlib error handler replaces the host's"
m host-display $T 'const bool failed = xcb_connection_has_error(connection);' 'const bool failed = false;' \
    'a display nobody answers ends the host'
m host-plugins $T '(new QApplication(*g_argc, g_argv))' 'QCoreApplication::addLibraryPath("./");
    (new QApplication(*g_argc, g_argv))' \
    'Qt loads plugins from the current folder'
m host-unref $Q 'g_session.caller = Caller::None;
    uv_unref(' 'g_session.caller = Caller::None;
    (void)(' \
    'a host with nothing left to do after capture() never exits'
m host-png $Q 'png = clipboardPng();' '' \
    'capture() gives no picture'
m host-second $Q 'refusal = "screencapture: a capture is already open";' ';' \
    'a second capture() starts while one is open'
C=$P/wlroots/screencopy.cpp
m wlr-used $P/portal/portaldesktop.cpp 'if (screencopy_) {' 'if (false) {' \
    'sway and the other wlroots desktops wait for the portal again'
m wlr-turn $C 'image.transformed(QTransform().rotate(90));' 'image.transformed(QTransform().rotate(270));' \
    'a turned monitor shows upside down'
m wlr-invert $C 'image = image.mirrored(false, true);' '' \
    'a compositor copying upside down gives an upside-down desktop'
m wlr-flip $C 'if (transform & 4)' 'if (transform & 8)' \
    'a mirrored monitor shows unmirrored'
m wlr-scale $C 'scale = qMax(scale, qreal(width) / out->logical.width());' 'scale = qMax(scale, qreal(1));' \
    'a scale 2 monitor is copied at half its resolution'
m wlr-place $C 'QPointF(out->position - extent.topLeft()) * scale' 'QPointF(extent.topLeft() - out->position) * scale' \
    'the second monitor is left out of the picture'
m wlr-fallback $P/portal/portaldesktop.cpp 'if (image.isNull()) {
            image = portalScreenshot(why);' 'if (image.isNull() && !screencopy_) {
            image = portalScreenshot(why);' \
    'a failed direct copy ends the capture instead of asking the portal'
m wlr-enlarge $C 'PIXMAN_FILTER_BILINEAR' 'PIXMAN_FILTER_NEAREST' \
    'beside a scale 2 monitor a scale 1 one is enlarged blockily, unlike grim'
m wlr-stride $C 'stride >= w * 4 &&' 'stride > w * 4 &&' \
    'a buffer without padding is refused: sway is read through the portal again'
m item-glass $D/screenshotgraphicsitem.cpp 'int(pixmapPoint.x() - 15), int(pixmapPoint.y() - 15), 30, 30' 'int(pixmapPoint.x() - 14), int(pixmapPoint.y() - 15), 30, 30' \
    'the magnifier shows the pixel beside the cursor'
m item-sizebox $D/screenshotsizegraphicitem.cpp 'painter->drawRoundedRect(box, roundness, roundness, Qt::RelativeSize);' '' \
    'the region size shows without its dark box: white on a light desktop'
m item-glassrgb $D/magnifyingglassgraphicsitem.cpp 'pixelColor(piece_.width() / 2, ' 'pixelColor(piece_.width() / 2 - 1, ' \
    'the magnifier gives the colour of the pixel left of the cursor'
m bar-circle $W/screentoolframe.cpp '&ScreenToolFrame::slotInsertCircle);' '&ScreenToolFrame::slotInsertRectangle);' \
    'the ellipse button draws rectangles'
m pop-widths $W/selectlinewidthwidget.cpp 'int(10 * s), int(14 * s)}' 'int(10 * s), int(15 * s)}' \
    'the widest line is too wide'
m pop-colour $W/colorlistitemwidget.cpp 'emit sigColor(b->getColor());' 'emit sigColor(buttons_.first()->getColor());' \
    'every colour picked draws red'
m pop-font $W/selectfontwidget.cpp 'font.setPixelSize(fontClickFrame_->getFont());' 'font.setPointSize(fontClickFrame_->getFont());' \
    'texts come out at the wrong size'
m pop-mosaic $W/selectmasoicwidget.cpp 'void SelectMasoicWidget::slotLineWidth(int) {
    emit sigChange(getStyle());' 'void SelectMasoicWidget::slotLineWidth(int) {' \
    'a mosaic size picked while a stroke is selected does not reach it'
m win-reset $W/mainwindow.cpp '    styleManager->resetSession();' '' \
    'after a text was being typed when a capture ended, Enter no longer confirms'
m win-saveclip $W/mainwindow.cpp 'saveImage(image, name);' 'saveImage(QApplication::clipboard()->image(), name);' \
    'save as writes whatever is on the clipboard when the dialog closes'
m win-savewhy $W/mainwindow.cpp 'why = file.errorString();' ';' \
    'a file that could not be written goes unmentioned'
m sel-clip $S/diagrambasescene.cpp 'region = screen.isNull() ? w : w & screen;' 'region = w;' \
    'a window partly off the screen is taken with the part no one sees'
m sel-clampleft $S/diagrambasescene.cpp 'r.moveLeft(qMax(desk.left(), qMin(r.left() + dx, desk.right() - r.width())));' 'r.moveLeft(qMin(r.left() + dx, desk.right() - r.width()));' \
    'Left moves the region off the desktop'
m sel-clamptop $S/diagrambasescene.cpp 'r.moveTop(qMax(desk.top(), qMin(r.top() + dy, desk.bottom() - r.height())));' 'r.moveTop(qMin(r.top() + dy, desk.bottom() - r.height()));' \
    'Up moves the region off the desktop'
m win-nudgepaint $W/mainwindow.cpp 'if (isPainting || (mods != Qt::NoModifier' 'if ((mods != Qt::NoModifier' \
    'while typing a text the arrow keys move the region, not the cursor'
m sel-gesture $S/diagrambasescene.cpp '    mouseStatus_ = 0;
    clickTookRegion_ = false;' '' \
    'after Esc with the button down, the next capture cannot be confirmed'
m sel-emptyclick $S/diagrambasescene.cpp 'if (taken.width() <= 0 || taken.height() <= 0) {' 'if (taken.width() < 0) {' \
    'a click where no window is proposed leaves the selection stuck'
m sel-clicknudge $S/diagrambasescene.cpp '        captureScreentPixmapRelease();
        showToolWidget();
        return;' '        showToolWidget();
        if (window_)
            window_->showPaintView();
        return;' \
    'a window taken by a click cannot be adjusted with the arrow keys'
m item-textundo $D/diagramtextitem.cpp 'if (paintStatus_ != PaintStatusFinished && StyleManager::manager)' 'if (false)' \
    'after a text being typed is undone, Enter no longer confirms'
m shape-round $D/rectanglegraphicsitem.cpp 'path.addRoundedRect(rect, 5.0, 5.0, Qt::AbsoluteSize);' 'path.addRect(rect);' \
    'rectangles have sharp corners'
m shape-ellipse $D/circlegraphicsitem.cpp 'painter->drawEllipse(rect);' 'painter->drawRect(rect);' \
    'the ellipse tool draws rectangles'
m paint-region $D/pixmapcacheitem.cpp 'painter->drawPixmap(rect_, pixmap_, QRectF(pixmap_.rect()));' '' \
    'while annotating, the region shows no desktop'
m pop-colourkept $W/clickframe.cpp 'color_ = color;' '' \
    'a picked colour is shown but not used'
m pop-colourpass $W/selectstylewidget.cpp 'lineWidthWidget_->setColor(color);
    clickFrame_->setColor(color);' 'lineWidthWidget_->setColor(color);' \
    'a colour picked in the line popup does not reach the drawing'
m pop-fontkept $W/fontclickframe.cpp 'label_->setText(size);' '' \
    'a text size picked is ignored'
m pop-fontlist $W/fontlistitemwidget.cpp 'emit sigFontWidth(sizeTexts_.at(index));' 'emit sigFontWidth(sizeTexts_.at(0));' \
    'every text size in the list gives small text'
m win-sizebox $W/showsizewidget.cpp 'dark.setRgb(0, 0, 0, 200);' 'dark.setRgb(0, 0, 0, 150);' \
    'the size read-out while annotating is lighter'
m start-monitors $W/linuxstartscreen.cpp 'mainWindow_->setMonitors(frozen.monitors.size() > 1 ? frozen.monitors : QVector<QRect>());' 'mainWindow_->setMonitors(QVector<QRect>());' \
    'with several monitors the toolbar straddles them and what no monitor shows is not black'
m x11-ratio $P/x11/x11desktop.cpp 'out->picture.setDevicePixelRatio(d.ratio);' '' \
    'with a scale factor the frozen desktop is drawn too large'

# Replaces the one occurrence of FROM in FILE by TO (none with no TO); exit 3 when FROM is not
# there exactly once.
apply() {
    node -e '
        const fs = require("fs");
        const [file, from, to] = process.argv.slice(1);
        const parts = fs.readFileSync(file, "utf8").split(from);
        if (parts.length !== 2) { console.error(`found ${parts.length - 1} times`); process.exit(3); }
        if (to !== undefined) fs.writeFileSync(file, parts.join(to));' "$@"
}

if [ "$list" = 1 ]; then
    bad=0
    for i in "${!ids[@]}"; do
        ok=ok
        apply "$tree/${files[$i]}" "${froms[$i]}" 2>/dev/null || { ok='NOT APPLIED'; bad=$((bad + 1)); }
        printf '%-15s %-11s %-52s %s\n' "${ids[$i]}" "$ok" "${files[$i]}" "${whats[$i]}"
    done
    echo "${#ids[@]} mutants, $bad not applicable to $tree"
    exit $((bad > 0))
fi

copy=$work/tree logs=$work/logs summary=$work/summary.txt
mkdir -p "$copy" "$logs"
say() { printf '%s\n' "$*" | tee -a "$summary"; }
declare -A killer
[ -n "$prior" ] || prior=$summary
[ -f "$prior" ] || prior=$tree/docs/mutation.txt
if [ -f "$prior" ]; then
    while read -r id _ _ suite _; do killer[$id]=$suite; done < <(grep -E '^[a-z-]+ +killed by ' "$prior")
fi
: >"$summary"

# The copy becomes the tree again: files that differ are copied with a new time (so the build
# sees them), the others are left as they are; build/ stays.
fresh=$work/fresh
rm -rf "$fresh" && mkdir -p "$fresh"
tar -C "$tree" --exclude=./build --exclude='./build-*' --exclude=./.git --exclude=./node_modules -cf - . |
    tar -C "$fresh" -xf - || exit 1
(cd "$copy" && find . -path ./build -prune -o -type f -print) | while read -r f; do
    [ -e "$fresh/$f" ] || rm -f "$copy/$f"
done
(cd "$fresh" && find . -type f) | while read -r f; do
    cmp -s "$fresh/$f" "$copy/$f" || { mkdir -p "$(dirname "$copy/$f")" && cp "$fresh/$f" "$copy/$f"; }
done
rm -rf "$fresh"
# The tests' npm packages come from the tree (a link: the sweep above only touches files).
[ ! -d "$tree/node_modules" ] || ln -sfn "$tree/node_modules" "$copy/node_modules"

build() {
    (cd "$copy" && { [ -f build/CMakeCache.txt ] || cmake -S . -B build; } && cmake --build build -j2) >"$1" 2>&1
}

# Suites: each C++ test, then each node test file.
suites=()
run_suite() { # name log
    local s=$1
    (cd "$copy" && if [[ $s == tests/* ]]; then
        timeout -k 10 "$suite_timeout" node --test "$s"
    else
        QT_QPA_PLATFORM=xcb timeout -k 10 "$suite_timeout" scripts/xvfb-run.sh 2560x1600 -- \
            ctest --test-dir build --output-on-failure -R "^$s\$"
    fi) >>"$2" 2>&1
}

say "tree: $tree ($(git -C "$tree" rev-parse --short HEAD 2>/dev/null || echo '?'))  $(date -u '+%F %T') UTC"
echo "building the unmutated copy in $copy/build ..."
build "$logs/unmutated-build.log" || { echo "FAILED: the unmutated build, see $logs/unmutated-build.log" >&2; exit 1; }

# A suite must pass unmutated (else every mutant would look killed by it): one that fails twice
# is left out, loudly. Their times set the order.
declare -A took
mapfile -t cpp < <(cd "$copy" && ctest --test-dir build -N | sed -n 's/^ *Test *#[0-9]*: *//p')
for s in "${cpp[@]}" $(cd "$copy" && ls tests/node/*.test.js tests/e2e/*.test.js); do
    if [ "$trust" = 1 ]; then
        [[ $s == tests/e2e/* ]] && took[$s]=2 || took[$s]=1 # C++ first, then node, by name
        continue
    fi
    t0=$(date +%s) log=$logs/unmutated-$(basename "$s").log
    if ! run_suite "$s" "$log" && ! run_suite "$s" "$log"; then
        say "LEFT OUT: $s fails without any mutant (twice), see $log"
        continue
    fi
    took[$s]=$(($(date +%s) - t0))
done
mapfile -t suites < <(for s in "${!took[@]}"; do echo "${took[$s]} $s"; done | sort -n -k1,1 -k2,2 | cut -d' ' -f2)
say "suites, cheapest first: $(for s in "${suites[@]}"; do printf '%s (%ss) ' "$s" "${took[$s]}"; done)"
if [ "$trust" = 1 ]; then
    # Still one quick unmutated pass, so a broken copy cannot pass for a run of kills.
    for s in tests/node/module.test.js tests/e2e/clipboard.test.js; do
        run_suite "$s" "$logs/unmutated-$(basename "$s").log" ||
            { echo "FAILED: $s fails without any mutant, see $logs/unmutated-$(basename "$s").log" >&2; exit 1; }
    done
    say "(full unmutated pass skipped: --trust-suites)"
fi

killed=0 survived=0 missing=0 broken=0
for i in "${!ids[@]}"; do
    id=${ids[$i]} f=${files[$i]}
    [ -z "$only" ] || [[ $only == *",$id,"* ]] || continue
    log=$logs/$id.log
    : >"$log"
    cp "$copy/$f" "$log.orig"
    if ! apply "$copy/$f" "${froms[$i]}" "${tos[$i]}" 2>>"$log"; then
        say "$(printf '%-15s NOT APPLIED: fragment not found exactly once in %s' "$id" "$f")"
        missing=$((missing + 1))
        continue
    fi
    t0=$(date +%s)
    if ! build "$log.build"; then
        verdict="BUILD FAILED (see $log.build)"
        broken=$((broken + 1))
    else
        verdict=survived
        first=${killer[$id]:-}
        [ -n "$first" ] && [ -n "${took[$first]:-}" ] || first=
        order=($first)
        for s in "${suites[@]}"; do [ "$s" = "$first" ] || order+=("$s"); done
        for s in "${order[@]}"; do
            if ! run_suite "$s" "$log"; then
                verdict="killed by $s"
                break
            fi
        done
        if [ "$verdict" = survived ]; then survived=$((survived + 1)); else killed=$((killed + 1)); fi
    fi
    cp "$log.orig" "$copy/$f" # restored with a new time, so the next build recompiles it
    say "$(printf '%-15s %-40s %4ss  %s' "$id" "$verdict" $(($(date +%s) - t0)) "${whats[$i]}")"
done
say "total: $killed killed, $survived survived, $missing not applied, $broken did not build (of $((killed + survived + missing + broken)))"
echo "summary: $summary; logs: $logs"
[ "$missing" -eq 0 ] && [ "$broken" -eq 0 ]
