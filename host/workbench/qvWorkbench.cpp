#include "qvWorkbench.h"
#include "qvWireRouter.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <utility>

#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QtCore/QMetaEnum>
#include <QtCore/QMimeData>
#include <QtCore/QSettings>
#include <QtCore/QTimer>
#include <QtGui/QPainterPath>
#include <QtGui/QUndoStack>
#include <QtGui/QClipboard>
#include <QtGui/QCloseEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QColorDialog>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QRubberBand>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QStatusBar>
#include <QtWidgets/QStyle>
#include <QtWidgets/QTableWidget>
#include <QtWidgets/QToolBar>
#include <QtWidgets/QToolBox>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

#include "controls/qvColor.h"
#include "controls/qvCommon.h"
#include "indicators/qvRegister.h"

namespace {

const QString ClassMimeType = QStringLiteral("application/x-velmora-class");
constexpr int ClassRole = Qt::UserRole;
constexpr int ComponentRole = Qt::UserRole + 1;
constexpr int GridStep = 16;
constexpr int SnapStep = 4;

constexpr int MaxRecentFiles = 8;
const QString RecentFilesKey = QStringLiteral("RecentFiles");

QSettings Settings()
{
    return QSettings(QStringLiteral("Velmora"), QStringLiteral("workbench"));
}

// The eight handles of the selection frame around `geometry`, top left first, clockwise.
std::array<QRect, 8> HandleRects(const QRect &geometry)
{
    const QRect r = geometry.adjusted(-3, -3, 2, 2);
    const QPoint centres[] = {r.topLeft(), QPoint(r.center().x(), r.top()), r.topRight(),
                              QPoint(r.right(), r.center().y()), r.bottomRight(),
                              QPoint(r.center().x(), r.bottom()), r.bottomLeft(), QPoint(r.left(), r.center().y())};
    std::array<QRect, 8> rects;
    for (int k = 0; k < 8; ++k)
        rects[k] = QRect(centres[k] - QPoint(3, 3), QSize(7, 7));
    return rects;
}

// Which edges handle `k` moves.
bool MovesLeft(int k) { return k == 0 || k == 6 || k == 7; }
bool MovesRight(int k) { return k >= 2 && k <= 4; }
bool MovesTop(int k) { return k <= 2; }
bool MovesBottom(int k) { return k >= 4 && k <= 6; }

Qt::CursorShape HandleCursor(int k)
{
    static const Qt::CursorShape shapes[] = {Qt::SizeFDiagCursor, Qt::SizeVerCursor, Qt::SizeBDiagCursor,
                                             Qt::SizeHorCursor,   Qt::SizeFDiagCursor, Qt::SizeVerCursor,
                                             Qt::SizeBDiagCursor, Qt::SizeHorCursor};
    return k >= 0 && k < 8 ? shapes[k] : Qt::ArrowCursor;
}

int Snap(int value)
{
    return int(std::lround(value / double(SnapStep))) * SnapStep;
}

// A transparent layer that lets the mouse through and paints by a callback.
class PaintLayer : public QWidget
{
public:
    PaintLayer(QWidget *parent, std::function<void(QPainter &)> paint)
        : QWidget(parent)
        , m_paint(std::move(paint))
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_NoSystemBackground);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        m_paint(painter);
    }

private:
    std::function<void(QPainter &)> m_paint;
};

// Draws the selection frame above the components of the form; lets the mouse through.
class SelectionOverlay : public QWidget
{
public:
    explicit SelectionOverlay(QWidget *surface)
        : QWidget(surface)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_NoSystemBackground);
        setObjectName(QStringLiteral("SelectionOverlay"));
        resize(surface->size());
    }

    QPointer<QWidget> Target; // the current component: frame and handles
    QList<QPointer<QWidget>> Others; // the rest of the selection: a frame

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const QColor accent(30, 110, 220);
        painter.setPen(QPen(accent, 1, Qt::DashLine));
        for (const QPointer<QWidget> &other : Others) {
            if (other && other->isVisible())
                painter.drawRect(other->geometry().adjusted(-3, -3, 2, 2));
        }
        if (!Target || !Target->isVisible())
            return;
        painter.drawRect(Target->geometry().adjusted(-3, -3, 2, 2));
        painter.setPen(accent.darker(130));
        painter.setBrush(Qt::white);
        for (const QRect &handle : HandleRects(Target->geometry()))
            painter.drawRect(handle.adjusted(0, 0, -1, -1));
    }
};

// A palette page whose drags carry the class name.
class PaletteList : public QListWidget
{
public:
    using QListWidget::QListWidget;

protected:
    QMimeData *mimeData(const QList<QListWidgetItem *> &items) const override
    {
        if (items.isEmpty())
            return nullptr;
        auto *data = new QMimeData;
        data->setData(ClassMimeType, items.first()->data(ClassRole).toString().toUtf8());
        return data;
    }
};

// "Meter1 (TQVMeter)", and how many more components are selected.
QString PropertyTitle(const QObject *component, int more)
{
    const QString title = TQVWorkbench::tr("%1 (%2)").arg(component->objectName(),
                                                          QString::fromLatin1(component->metaObject()->className()));
    return more == 0 ? title : TQVWorkbench::tr("%1 and %n more", nullptr, more).arg(title);
}

// Palette bitmap of the class; classes without one get a tile with their initials.
QIcon ClassIcon(const QString &className)
{
    const QIcon icon = QVPaletteIcon(className);
    if (!icon.isNull())
        return icon;
    QString initials;
    for (const QChar c : TQVWorkbenchModel::NameStem(className)) {
        if (c.isUpper() && initials.size() < 2)
            initials += c;
    }
    QPixmap pixmap(48, 48);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient gradient(0, 0, 0, 48);
    gradient.setColorAt(0.0, QColor(92, 124, 168));
    gradient.setColorAt(1.0, QColor(44, 70, 110));
    painter.setBrush(gradient);
    painter.setPen(QColor(30, 46, 72));
    painter.drawRoundedRect(QRectF(2.5, 2.5, 43, 43), 7, 7);
    QFont font = painter.font();
    font.setBold(true);
    font.setPixelSize(initials.size() > 1 ? 20 : 26);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRect(0, 0, 48, 48), Qt::AlignCenter, initials);
    painter.end();
    pixmap.setDevicePixelRatio(2.0);
    return QIcon(pixmap);
}

QPixmap Swatch(const QColor &colour)
{
    QPixmap pixmap(18, 12);
    pixmap.fill(colour);
    QPainter painter(&pixmap);
    painter.setPen(QColor(80, 80, 80));
    painter.drawRect(pixmap.rect().adjusted(0, 0, -1, -1));
    return pixmap;
}

// Properties of Qt's own classes are not component properties (geometry has rows of its own).
bool IsQtProperty(const QMetaObject *meta, int index)
{
    for (const QMetaObject *m = meta; m; m = m->superClass()) {
        if (index >= m->propertyOffset()) {
            const QByteArray name = m->className();
            return name.size() > 1 && name[0] == 'Q' && QChar::fromLatin1(name[1]).isUpper();
        }
    }
    return true;
}

bool IsColourProperty(const QMetaProperty &property)
{
    const QByteArray name = property.name();
    return property.metaType().id() == QMetaType::UInt &&
           (name.contains("Color") || name.contains("Colour") || name == "Background");
}

// SI prefix choices: the prefix type itself, or an integer named after it.
bool IsSIPrefixProperty(const QMetaProperty &property)
{
    const QByteArray name = property.name();
    const QByteArray type = property.metaType().name() ? QByteArray(property.metaType().name()) : QByteArray();
    return type.endsWith("TSiPrefixesId") ||
           ((property.metaType().id() == QMetaType::Int || property.isEnumType()) &&
            (name.contains("SIPrefix") || name == "LabelScientificUnitPosfix"));
}

QString FloatText(const QVariant &value)
{
    if (value.metaType().id() == QMetaType::Float)
        return QString::number(double(value.toFloat()), 'g', 7);
    return QString::number(value.toDouble(), 'g', 12);
}

} // namespace

TQVWorkbench::TQVWorkbench(QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(QStringLiteral("Workbench"));
    m_model = new TQVWorkbenchModel(QVClassRegistry(), this);

    CreatePalette();

    // Centre: the form surface above the tray of non-visual components.
    QWidget *surface = m_model->Surface();
    surface->setMinimumSize(720, 520);
    surface->setFocusPolicy(Qt::ClickFocus);
    surface->setAcceptDrops(true);
    surface->installEventFilter(this);
    surface->setMouseTracking(true); // the cursor over the resize handles
    m_overlay = new SelectionOverlay(surface);
    m_formArea = new QScrollArea;
    m_formArea->setWidgetResizable(true);
    m_formArea->setWidget(surface);
    m_formArea->setBackgroundRole(QPalette::Dark);

    auto *trayBox = new QWidget;
    auto *trayLayout = new QVBoxLayout(trayBox);
    trayLayout->setContentsMargins(0, 4, 0, 0);
    trayLayout->setSpacing(16); // room for the wires that leave the tiles
    m_trayTitle = new QLabel(tr("Non-visual components"));
    trayLayout->addWidget(m_trayTitle);
    m_tray = new QListWidget;
    m_tray->setObjectName(QStringLiteral("Tray"));
    m_tray->setViewMode(QListView::IconMode);
    m_tray->setIconSize(QSize(32, 32));
    m_tray->setGridSize(QSize(124, 60));
    m_tray->setMovement(QListView::Static);
    m_tray->setResizeMode(QListView::Adjust);
    m_tray->setWordWrap(true);
    m_tray->setMinimumHeight(72);
    m_tray->setSelectionMode(QAbstractItemView::ExtendedSelection);
    trayLayout->addWidget(m_tray);
    // A click selects the tile alone; with Ctrl or Shift the tiles join the selection.
    connect(m_tray, &QListWidget::itemSelectionChanged, this, [this] {
        if (m_refreshing)
            return;
        QList<QObject *> selection;
        if (QApplication::keyboardModifiers() & (Qt::ControlModifier | Qt::ShiftModifier))
            selection = SelectedComponents();
        selection.removeIf([](QObject *component) { return !TQVWorkbenchModel::IsVisual(component); });
        for (QListWidgetItem *item : m_tray->selectedItems())
            selection.append(item->data(ComponentRole).value<QObject *>());
        QListWidgetItem *current = m_tray->currentItem();
        SetSelection(selection, current && current->isSelected() ? current->data(ComponentRole).value<QObject *>()
                                                                   : nullptr);
    });

    auto *centre = new QSplitter(Qt::Vertical);
    centre->addWidget(m_formArea);
    centre->addWidget(trayBox);
    centre->setStretchFactor(0, 1);
    centre->setSizes({600, 110});
    // The wires run between the form and the tray, so they lie on a layer above both.
    m_centre = new QWidget;
    auto *centreLayout = new QVBoxLayout(m_centre);
    centreLayout->setContentsMargins(0, 0, 0, 0);
    centreLayout->addWidget(centre);
    m_wires = new PaintLayer(m_centre, [this](QPainter &painter) { PaintWires(painter); });
    m_wires->setObjectName(QStringLiteral("Wires"));
    m_centre->installEventFilter(this);
    connect(centre, &QSplitter::splitterMoved, this, [this] { UpdateOverlays(); });
    for (QAbstractScrollArea *area : {static_cast<QAbstractScrollArea *>(m_formArea),
                                      static_cast<QAbstractScrollArea *>(m_tray)}) {
        for (QScrollBar *bar : {area->horizontalScrollBar(), area->verticalScrollBar()})
            connect(bar, &QScrollBar::valueChanged, this, [this] { UpdateOverlays(); });
    }

    // Right: the property editor.
    auto *propertyBox = new QWidget;
    auto *propertyLayout = new QVBoxLayout(propertyBox);
    propertyLayout->setContentsMargins(0, 0, 0, 0);
    propertyLayout->setSpacing(4);
    m_propertyTitle = new QLabel;
    m_propertyTitle->setContentsMargins(4, 4, 4, 0);
    QFont titleFont = m_propertyTitle->font();
    titleFont.setBold(true);
    m_propertyTitle->setFont(titleFont);
    propertyLayout->addWidget(m_propertyTitle);
    m_properties = new QTableWidget(0, 2);
    m_properties->setObjectName(QStringLiteral("PropertyEditor"));
    m_properties->setHorizontalHeaderLabels({tr("Property"), tr("Value")});
    m_properties->verticalHeader()->hide();
    m_properties->verticalHeader()->setDefaultSectionSize(26);
    m_properties->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    m_properties->horizontalHeader()->setStretchLastSection(true);
    m_properties->setSelectionMode(QAbstractItemView::NoSelection);
    m_properties->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_properties->setAlternatingRowColors(true);
    propertyLayout->addWidget(m_properties);

    auto *main = new QSplitter(Qt::Horizontal);
    main->addWidget(m_palette);
    main->addWidget(m_centre);
    main->addWidget(propertyBox);
    main->setStretchFactor(1, 1);
    main->setSizes({210, 760, 330});
    setCentralWidget(main);

    CreateActions();

    connect(m_model, &TQVWorkbenchModel::ComponentAdded, this, [this](QObject *component) {
        if (auto *widget = qobject_cast<QWidget *>(component))
            Watch(widget);
        m_overlay->raise();
        RebuildTray();
        Select(component);
        UpdateTitle();
        UpdateOverlays();
    });
    connect(m_model, &TQVWorkbenchModel::ComponentRemoving, this, [this](QObject *component) {
        if (SelectedComponents().contains(component)) {
            QList<QObject *> rest = SelectedComponents();
            rest.removeAll(component);
            SetSelection(rest, m_selected == component ? nullptr : m_selected.data());
        }
        for (int i = m_tray->count() - 1; i >= 0; --i) {
            if (m_tray->item(i)->data(ComponentRole).value<QObject *>() == component)
                delete m_tray->takeItem(i);
        }
        UpdateOverlays();
    });
    connect(m_model, &TQVWorkbenchModel::ComponentChanged, this, [this](QObject *component) {
        if (component == m_selected)
            RefreshProperties();
        if (!TQVWorkbenchModel::IsVisual(component))
            RebuildTray();
        UpdateOverlays();
    });
    connect(m_model, &TQVWorkbenchModel::FormReplaced, this, [this] {
        for (QWidget *widget : m_model->VisualComponents())
            Watch(widget);
        m_overlay->raise();
        RebuildTray();
        Select(nullptr);
        UpdateTitle();
        UpdateOverlays();
    });
    m_liveTimer = new QTimer(this);
    m_liveTimer->setInterval(250);
    connect(m_liveTimer, &QTimer::timeout, this, [this] { RefreshProperties(true); });
    connect(m_model, &TQVWorkbenchModel::RunningChanged, this, [this](bool running) {
        if (running)
            m_liveTimer->start();
        else
            m_liveTimer->stop();
        RefreshProperties(true);
        m_overlay->setVisible(!running);
        UpdateOverlays();
        m_dragWidget = nullptr;
        m_resizeHandle = -1;
        statusBar()->showMessage(running ? tr("Running") : tr("Design"));
        UpdateActions();
    });
    connect(m_model, &TQVWorkbenchModel::ModifiedChanged, this, [this] { UpdateTitle(); });
    connect(m_model, &TQVWorkbenchModel::ErrorOccurred, this, &TQVWorkbench::ShowError);
    // Errors that components signal by themselves (while running, say) go to the status bar only.
    connect(m_model, &TQVWorkbenchModel::ComponentError, this, [this](const QString &message) {
        statusBar()->showMessage(message, 8000);
        emit ErrorShown(message);
    });

    statusBar()->showMessage(tr("Design"));
    Select(nullptr);
    UpdateTitle();
    resize(1320, 820);
}

TQVWorkbench::~TQVWorkbench()
{
    // The model owns the surface and its components: take it back from the scroll area
    // and let the model cut the links in order.
    m_formArea->takeWidget();
    m_model->Surface()->removeEventFilter(this);
    m_centre->removeEventFilter(this);
    m_model->disconnect(this);
    m_model->UndoStack()->disconnect(this);
    delete m_model;
    m_model = nullptr;
}

void TQVWorkbench::CreateActions()
{
    QStyle *s = style();
    m_newAction = new QAction(s->standardIcon(QStyle::SP_FileIcon), tr("&New"), this);
    m_newAction->setShortcut(QKeySequence::New);
    m_openAction = new QAction(s->standardIcon(QStyle::SP_DialogOpenButton), tr("&Open..."), this);
    m_openAction->setShortcut(QKeySequence::Open);
    m_saveAction = new QAction(s->standardIcon(QStyle::SP_DialogSaveButton), tr("&Save"), this);
    m_saveAction->setShortcut(QKeySequence::Save);
    m_saveAsAction = new QAction(tr("Save &As..."), this);
    m_saveAsAction->setShortcut(QKeySequence::SaveAs);
    m_runAction = new QAction(s->standardIcon(QStyle::SP_MediaPlay), tr("&Run"), this);
    m_runAction->setShortcut(Qt::Key_F9);
    m_stopAction = new QAction(s->standardIcon(QStyle::SP_MediaStop), tr("S&top"), this);
    m_stopAction->setShortcut(Qt::SHIFT | Qt::Key_F9);
    m_deleteAction = new QAction(s->standardIcon(QStyle::SP_TrashIcon), tr("&Delete"), this);
    // Only where components are selected, so that Delete still edits text in the editor.
    m_deleteAction->setShortcut(QKeySequence::Delete);
    // Cut, Copy and Paste the same way: in the editor they edit text.
    m_cutAction = new QAction(QIcon::fromTheme(QStringLiteral("edit-cut")), tr("Cu&t"), this);
    m_cutAction->setShortcut(QKeySequence::Cut);
    m_copyAction = new QAction(QIcon::fromTheme(QStringLiteral("edit-copy")), tr("&Copy"), this);
    m_copyAction->setShortcut(QKeySequence::Copy);
    m_pasteAction = new QAction(QIcon::fromTheme(QStringLiteral("edit-paste")), tr("&Paste"), this);
    m_pasteAction->setShortcut(QKeySequence::Paste);
    m_duplicateAction = new QAction(tr("D&uplicate"), this);
    m_duplicateAction->setShortcut(Qt::CTRL | Qt::Key_D);
    m_selectAllAction = new QAction(tr("Select &All"), this);
    m_selectAllAction->setShortcut(QKeySequence::SelectAll);
    for (QAction *action :
         {m_deleteAction, m_cutAction, m_copyAction, m_pasteAction, m_duplicateAction, m_selectAllAction}) {
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        m_formArea->addAction(action);
        m_tray->addAction(action);
    }
    QUndoStack *history = m_model->UndoStack();
    m_undoAction = history->createUndoAction(this, tr("&Undo"));
    m_undoAction->setIcon(s->standardIcon(QStyle::SP_ArrowBack));
    m_undoAction->setShortcut(QKeySequence::Undo);
    m_redoAction = history->createRedoAction(this, tr("&Redo"));
    m_redoAction->setIcon(s->standardIcon(QStyle::SP_ArrowForward));
    m_redoAction->setShortcuts({QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z), QKeySequence(Qt::CTRL | Qt::Key_Y)});
    auto *quit = new QAction(tr("&Quit"), this);
    quit->setShortcut(QKeySequence::Quit);

    connect(m_newAction, &QAction::triggered, this, &TQVWorkbench::OnNew);
    connect(m_openAction, &QAction::triggered, this, &TQVWorkbench::OnOpen);
    connect(m_saveAction, &QAction::triggered, this, &TQVWorkbench::OnSave);
    connect(m_saveAsAction, &QAction::triggered, this, &TQVWorkbench::OnSaveAs);
    connect(m_runAction, &QAction::triggered, this, [this] { m_model->Run(); });
    connect(m_stopAction, &QAction::triggered, this, [this] { m_model->Stop(); });
    connect(m_deleteAction, &QAction::triggered, this, &TQVWorkbench::OnDelete);
    connect(m_cutAction, &QAction::triggered, this, [this] { OnCopy(true); });
    connect(m_copyAction, &QAction::triggered, this, [this] { OnCopy(false); });
    connect(m_pasteAction, &QAction::triggered, this, [this] { OnPaste(QApplication::clipboard()->text()); });
    connect(m_duplicateAction, &QAction::triggered, this,
            [this] { OnPaste(m_model->CopyText(SelectedComponents())); });
    connect(m_selectAllAction, &QAction::triggered, this, &TQVWorkbench::SelectAll);
    connect(QApplication::clipboard(), &QClipboard::dataChanged, this, [this] { UpdateActions(); });
    connect(quit, &QAction::triggered, this, &QWidget::close);

    QMenu *file = menuBar()->addMenu(tr("&File"));
    file->addActions({m_newAction, m_openAction});
    m_recentMenu = file->addMenu(tr("Open &Recent"));
    m_recentMenu->setObjectName(QStringLiteral("RecentFiles"));
    file->addActions({m_saveAction, m_saveAsAction});
    file->addSeparator();
    file->addAction(quit);
    QMenu *edit = menuBar()->addMenu(tr("&Edit"));
    edit->addActions({m_undoAction, m_redoAction});
    edit->addSeparator();
    edit->addActions({m_cutAction, m_copyAction, m_pasteAction, m_duplicateAction, m_deleteAction});
    edit->addSeparator();
    edit->addAction(m_selectAllAction);
    CreateArrangeMenu();
    menuBar()->addMenu(m_arrangeMenu);
    QMenu *form = menuBar()->addMenu(tr("F&orm"));
    form->addActions({m_runAction, m_stopAction});

    QToolBar *tools = addToolBar(tr("Form"));
    tools->setObjectName(QStringLiteral("FormToolBar"));
    tools->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    tools->setMovable(false);
    tools->addActions({m_newAction, m_openAction, m_saveAction});
    tools->addSeparator();
    tools->addActions({m_runAction, m_stopAction});
    tools->addSeparator();
    tools->addActions({m_undoAction, m_redoAction, m_deleteAction});
    // The history actions name the step in the menu; the toolbar shows their icons only.
    for (QAction *action : {m_undoAction, m_redoAction}) {
        if (auto *button = qobject_cast<QToolButton *>(tools->widgetForAction(action)))
            button->setToolButtonStyle(Qt::ToolButtonIconOnly);
    }
    connect(history, &QUndoStack::canUndoChanged, this, [this] { UpdateActions(); });
    connect(history, &QUndoStack::canRedoChanged, this, [this] { UpdateActions(); });
    UpdateRecentMenu();
    UpdateActions();
}

void TQVWorkbench::CreateArrangeMenu()
{
    using A = TQVWorkbenchModel::TQVArrangement;
    m_arrangeMenu = new QMenu(tr("&Arrange"), this);
    const auto add = [this](QMenu *menu, const QString &text, A arrangement) {
        QAction *action = menu->addAction(text);
        action->setData(int(arrangement));
        m_arrangeActions.append(action);
        // On the current component, as the one the others follow.
        connect(action, &QAction::triggered, this, [this, arrangement] {
            m_model->ArrangeComponents(SelectedWidgets(), arrangement, qobject_cast<QWidget *>(m_selected.data()));
        });
    };
    const auto stacking = [this](const QString &text, bool front) {
        QAction *action = m_arrangeMenu->addAction(text);
        m_stackActions.append(action);
        connect(action, &QAction::triggered, this, [this, front] {
            QList<QWidget *> widgets = SelectedWidgets();
            front ? m_model->RaiseComponents(widgets) : m_model->LowerComponents(widgets);
        });
    };
    stacking(tr("Bring to &Front"), true);
    stacking(tr("Send to &Back"), false);
    m_arrangeMenu->addSeparator();
    QMenu *align = m_arrangeMenu->addMenu(tr("&Align"));
    add(align, tr("&Left Edges"), A::Lefts);
    add(align, tr("Horizontal &Centers"), A::Centers);
    add(align, tr("&Right Edges"), A::Rights);
    align->addSeparator();
    add(align, tr("&Top Edges"), A::Tops);
    add(align, tr("&Vertical Centers"), A::Middles);
    add(align, tr("&Bottom Edges"), A::Bottoms);
    QMenu *size = m_arrangeMenu->addMenu(tr("Make Same &Size"));
    add(size, tr("&Width"), A::SameWidth);
    add(size, tr("&Height"), A::SameHeight);
    add(size, tr("&Both"), A::SameSize);
    QMenu *space = m_arrangeMenu->addMenu(tr("&Space Evenly"));
    add(space, tr("&Across"), A::SpaceAcross);
    add(space, tr("&Down"), A::SpaceDown);
}

bool TQVWorkbench::NudgeSelection(const QKeyEvent *key)
{
    // Arrows move the selected widgets by the snap step, Shift+arrows resize them; with
    // Ctrl by one pixel.
    static const QHash<int, QPoint> directions = {
        {Qt::Key_Left, {-1, 0}}, {Qt::Key_Right, {1, 0}}, {Qt::Key_Up, {0, -1}}, {Qt::Key_Down, {0, 1}}};
    const auto direction = directions.constFind(key->key());
    const Qt::KeyboardModifiers modifiers = key->modifiers() & ~Qt::KeypadModifier;
    if (direction == directions.cend() || (modifiers & ~(Qt::ControlModifier | Qt::ShiftModifier)))
        return false;
    const QList<QWidget *> widgets = SelectedWidgets();
    if (widgets.isEmpty())
        return false;
    const QPoint step = *direction * (modifiers & Qt::ControlModifier ? 1 : SnapStep);
    if (modifiers & Qt::ShiftModifier)
        m_model->ResizeComponents(widgets, QMargins(0, 0, step.x(), step.y()));
    else
        m_model->MoveComponents(widgets, step);
    return true;
}

void TQVWorkbench::ShowContextMenu(const QPoint &globalPosition, bool onComponent)
{
    QMenu menu;
    if (onComponent) {
        menu.addActions({m_cutAction, m_copyAction, m_pasteAction, m_duplicateAction, m_deleteAction});
        menu.addSeparator();
        menu.addMenu(m_arrangeMenu);
    } else {
        menu.addActions({m_pasteAction, m_selectAllAction});
    }
    menu.exec(globalPosition);
}

void TQVWorkbench::CreatePalette()
{
    m_palette = new QToolBox;
    m_palette->setObjectName(QStringLiteral("Palette"));
    m_palette->setMinimumWidth(180);
    const TQVClassRegistry &registry = m_model->Registry();
    for (const QString &page : registry.Pages()) {
        auto *list = new PaletteList;
        list->setObjectName(page);
        list->setIconSize(QSize(24, 24));
        list->setDragEnabled(true);
        list->setDragDropMode(QAbstractItemView::DragOnly);
        list->setSpacing(1);
        for (const QString &className : registry.PageClasses(page)) {
            auto *item = new QListWidgetItem(ClassIcon(className), TQVWorkbenchModel::NameStem(className), list);
            item->setData(ClassRole, className);
            item->setToolTip(tr("%1: click to place it on the form, or drag it there").arg(className));
        }
        connect(list, &QListWidget::itemClicked, this,
                [this](QListWidgetItem *item) { PlaceFromPalette(item->data(ClassRole).toString()); });
        m_palette->addItem(list, page);
    }
}

void TQVWorkbench::PlaceFromPalette(const QString &className, const QPoint &position)
{
    m_model->AddComponent(className, position);
}

void TQVWorkbench::ShowError(const QString &message)
{
    // The model kept the form as it was: show the values it holds again.
    RefreshProperties();
    statusBar()->showMessage(message, 8000);
    emit ErrorShown(message);
    if (m_modalErrors)
        QMessageBox::warning(this, tr("Velmora workbench"), message);
}

void TQVWorkbench::UpdateTitle()
{
    const QString file = m_model->FileName().isEmpty() ? tr("untitled") : QFileInfo(m_model->FileName()).fileName();
    setWindowTitle(tr("%1[*] - Velmora workbench").arg(file));
    setWindowModified(m_model->IsModified());
}

void TQVWorkbench::UpdateActions()
{
    if (!m_runAction)
        return;
    const bool running = m_model->IsRunning();
    m_runAction->setEnabled(!running);
    m_stopAction->setEnabled(running);
    for (QAction *action : {m_deleteAction, m_cutAction, m_duplicateAction})
        action->setEnabled(!running && m_selected);
    m_copyAction->setEnabled(m_selected);
    m_pasteAction->setEnabled(!running && !QApplication::clipboard()->text().isEmpty());
    m_selectAllAction->setEnabled(!running);
    const qsizetype widgets = SelectedWidgets().size();
    for (QAction *action : m_stackActions)
        action->setEnabled(!running && widgets > 0);
    for (QAction *action : m_arrangeActions) {
        const auto arrangement = TQVWorkbenchModel::TQVArrangement(action->data().toInt());
        action->setEnabled(!running && widgets >= TQVWorkbenchModel::ArrangementMinimum(arrangement));
    }
    // The history waits while the form runs.
    m_undoAction->setEnabled(!running && m_model->UndoStack()->canUndo());
    m_redoAction->setEnabled(!running && m_model->UndoStack()->canRedo());
    m_palette->setEnabled(!running);
}

void TQVWorkbench::RebuildTray()
{
    m_refreshing = true;
    m_tray->clear();
    for (QObject *component : m_model->NonVisualComponents()) {
        auto *item = new QListWidgetItem(ClassIcon(QString::fromLatin1(component->metaObject()->className())),
                                         component->objectName(), m_tray);
        item->setData(ComponentRole, QVariant::fromValue(component));
        item->setToolTip(QString::fromLatin1(component->metaObject()->className()));
        item->setSelected(component == m_selected || m_alsoSelected.contains(component));
    }
    m_refreshing = false;
}

QList<QObject *> TQVWorkbench::SelectedComponents() const
{
    QList<QObject *> selection = m_model->Components();
    selection.removeIf([this](QObject *component) {
        return component != m_selected && !m_alsoSelected.contains(component);
    });
    return selection;
}

QList<QWidget *> TQVWorkbench::SelectedWidgets() const
{
    QList<QWidget *> widgets;
    for (QObject *component : SelectedComponents()) {
        if (auto *widget = qobject_cast<QWidget *>(component))
            widgets.append(widget);
    }
    return widgets;
}

void TQVWorkbench::Select(QObject *component, bool add)
{
    QList<QObject *> selection = add ? SelectedComponents() : QList<QObject *>();
    if (add && selection.contains(component)) {
        selection.removeAll(component);
        SetSelection(selection, nullptr);
        return;
    }
    selection.append(component);
    SetSelection(selection, component);
}

void TQVWorkbench::SelectAll()
{
    if (!m_model->IsRunning())
        SetSelection(m_model->Components(), m_selected);
}

void TQVWorkbench::SetSelection(const QList<QObject *> &components, QObject *current)
{
    const QList<QObject *> form = m_model->Components();
    QList<QObject *> selection;
    for (QObject *component : components) {
        if (component && form.contains(component) && !selection.contains(component))
            selection.append(component);
    }
    // The current one is the one asked for, else the last one added.
    if (!selection.contains(current))
        current = selection.isEmpty() ? nullptr : selection.last();
    selection.removeAll(current);
    const bool changed = current != m_selected;
    m_selected = current;
    m_alsoSelected.clear();
    auto *overlay = static_cast<SelectionOverlay *>(m_overlay);
    overlay->Others.clear();
    for (QObject *component : selection) {
        m_alsoSelected.append(component);
        if (auto *widget = qobject_cast<QWidget *>(component))
            overlay->Others.append(widget);
    }
    overlay->Target = qobject_cast<QWidget *>(current);
    m_overlay->raise();
    m_refreshing = true;
    for (int i = 0; i < m_tray->count(); ++i) {
        QObject *tile = m_tray->item(i)->data(ComponentRole).value<QObject *>();
        m_tray->item(i)->setSelected(tile == current || m_alsoSelected.contains(tile));
    }
    m_refreshing = false;
    if (changed || !current)
        RebuildProperties();
    else
        RefreshProperties();
    UpdateActions();
    UpdateOverlays();
}

QWidget *TQVWorkbench::PropertyEditorWidget(const QString &name) const
{
    for (const PropertyRow &row : m_rows) {
        if (row.Name == name)
            return row.Editor;
    }
    return nullptr;
}

void TQVWorkbench::AddPropertyRow(const QString &label, QWidget *editor, std::function<void()> refresh, bool readOnly)
{
    const int row = m_properties->rowCount();
    m_properties->insertRow(row);
    auto *item = new QTableWidgetItem(label);
    if (readOnly)
        item->setForeground(palette().color(QPalette::Disabled, QPalette::Text));
    m_properties->setItem(row, 0, item);
    editor->setObjectName(label);
    m_properties->setCellWidget(row, 1, editor);
    m_rows.push_back(PropertyRow{label, editor, std::move(refresh)});
}

void TQVWorkbench::RebuildProperties()
{
    m_rows.clear();
    m_properties->setRowCount(0);
    QObject *component = m_selected;
    if (!component) {
        m_propertyTitle->setText(tr("No component selected"));
        return;
    }
    m_propertyTitle->setText(PropertyTitle(component, int(m_alsoSelected.size())));

    QPointer<QObject> target(component);
    auto *name = new QLineEdit;
    connect(name, &QLineEdit::editingFinished, this, [this, target, name] {
        if (target && !m_refreshing && name->text() != target->objectName())
            m_model->Rename(target, name->text());
    });
    AddPropertyRow(QStringLiteral("Name"), name, [target, name] {
        if (target)
            name->setText(target->objectName());
    });

    if (auto *widget = qobject_cast<QWidget *>(component)) {
        static const char *const geometryNames[] = {"Left", "Top", "Width", "Height"};
        for (int k = 0; k < 4; ++k) {
            auto *spin = new QSpinBox;
            spin->setRange(k < 2 ? 0 : 8, 10000);
            spin->setKeyboardTracking(false);
            QPointer<QWidget> w(widget);
            connect(spin, &QSpinBox::valueChanged, this, [this, w, k](int value) {
                if (!w || m_refreshing)
                    return;
                QRect r = w->geometry();
                switch (k) {
                case 0: r.moveLeft(value); break;
                case 1: r.moveTop(value); break;
                case 2: r.setWidth(value); break;
                default: r.setHeight(value); break;
                }
                m_model->SetGeometry(w, r);
            });
            AddPropertyRow(QString::fromLatin1(geometryNames[k]), spin, [w, spin, k] {
                if (!w)
                    return;
                const QRect r = w->geometry();
                const int values[] = {r.x(), r.y(), r.width(), r.height()};
                spin->setValue(values[k]);
            });
        }
    }

    const QMetaObject *meta = component->metaObject();
    QList<int> informational;
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (IsQtProperty(meta, i) || !property.isDesignable())
            continue;
        const QByteArray propertyName = property.name();
        if (propertyName == "Version" || propertyName == "Copyright") {
            informational.append(i);
            continue;
        }
        std::function<void()> refresh;
        QWidget *editor = CreateEditor(property, refresh);
        if (editor)
            AddPropertyRow(QString::fromLatin1(propertyName), editor, std::move(refresh), !property.isWritable());
    }
    for (int i : informational) {
        const QMetaProperty property = meta->property(i);
        auto *label = new QLabel;
        label->setContentsMargins(4, 0, 4, 0);
        label->setEnabled(false);
        AddPropertyRow(QString::fromLatin1(property.name()), label, [target, property, label] {
            if (target)
                label->setText(property.read(target).toString());
        }, true);
    }
    RefreshProperties();
}

QWidget *TQVWorkbench::CreateEditor(const QMetaProperty &property, std::function<void()> &refresh)
{
    QPointer<QObject> target(m_selected);
    const QString name = QString::fromLatin1(property.name());
    const QMetaType type = property.metaType();
    // A write goes to every selected component with a property of that name and type.
    auto set = [this, target, name, typeName = QByteArray(property.typeName())](const QVariant &value) {
        if (!target || m_refreshing)
            return;
        QList<QObject *> targets = SelectedComponents();
        targets.removeIf([&](const QObject *c) {
            const int index = c->metaObject()->indexOfProperty(name.toLatin1().constData());
            return c != target && (index < 0 || typeName != c->metaObject()->property(index).typeName());
        });
        m_model->SetPropertyOfAll(targets, name, value);
    };

    if (!property.isWritable()) {
        auto *label = new QLabel;
        label->setContentsMargins(4, 0, 4, 0);
        refresh = [target, property, label] {
            if (target)
                label->setText(property.isEnumType()
                                   ? QString::fromLatin1(property.enumerator().valueToKey(property.read(target).toInt()))
                                   : property.read(target).toString());
        };
        return label;
    }

    if (type.flags() & QMetaType::PointerToQObject) {
        auto *combo = new QComboBox;
        connect(combo, &QComboBox::activated, this,
                [combo, set](int index) { set(index <= 0 ? QVariant(QString()) : QVariant(combo->itemText(index))); });
        refresh = [this, target, property, combo] {
            if (!target)
                return;
            const QVariant value = property.read(target);
            const QObject *current = (value.metaType().flags() & QMetaType::PointerToQObject)
                                         ? *static_cast<QObject *const *>(value.constData())
                                         : nullptr;
            // Only the sources the component would take; while the form runs, only the current one.
            const bool running = m_model->IsRunning();
            QStringList names{tr("(none)")};
            const QString propertyName = QString::fromLatin1(property.name());
            for (TQVMeasureSource *source : m_model->Sources(target)) {
                if (source == current ||
                    (!running && m_model->AcceptsSource(target, propertyName, source)))
                    names.append(source->objectName());
            }
            QStringList shown;
            for (int i = 0; i < combo->count(); ++i)
                shown.append(combo->itemText(i));
            if (shown != names) {
                combo->clear();
                combo->addItems(names);
            }
            combo->setEnabled(!running);
            const int index = current ? combo->findText(current->objectName()) : 0;
            combo->setCurrentIndex(std::max(index, 0));
        };
        return combo;
    }

    if (IsSIPrefixProperty(property)) {
        auto *combo = new QComboBox;
        InitSIComboBox(combo, sipNone);
        connect(combo, &QComboBox::activated, this, [combo, set] {
            TSiPrefixesId id = sipNone;
            if (GetSIFromComboBox(combo, id))
                set(int(id));
        });
        refresh = [target, property, combo] {
            if (target)
                SetSIOnComboBox(combo, property.read(target).toInt());
        };
        return combo;
    }

    if (property.isEnumType() && !property.isFlagType()) {
        auto *combo = new QComboBox;
        const QMetaEnum enumerator = property.enumerator();
        for (int k = 0; k < enumerator.keyCount(); ++k) {
            const QString key = QString::fromLatin1(enumerator.key(k));
            combo->addItem(QVEnumDisplayName(key), enumerator.value(k));
            combo->setItemData(k, key, Qt::ToolTipRole);
        }
        connect(combo, &QComboBox::activated, this,
                [combo, set](int index) { set(combo->itemData(index, Qt::ToolTipRole)); });
        refresh = [target, property, combo] {
            if (target)
                combo->setCurrentIndex(combo->findData(property.read(target).toInt()));
        };
        return combo;
    }

    switch (type.id()) {
    case QMetaType::Bool: {
        auto *check = new QCheckBox;
        connect(check, &QCheckBox::toggled, this, [set](bool on) { set(on); });
        refresh = [target, property, check] {
            if (target)
                check->setChecked(property.read(target).toBool());
        };
        return check;
    }
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::SChar:
    case QMetaType::UChar: {
        auto *spin = new QSpinBox;
        spin->setRange(INT_MIN, INT_MAX);
        spin->setKeyboardTracking(false);
        connect(spin, &QSpinBox::valueChanged, this, [set](int value) { set(value); });
        refresh = [target, property, spin] {
            if (target)
                spin->setValue(property.read(target).toInt());
        };
        return spin;
    }
    case QMetaType::QColor:
    case QMetaType::UInt:
        if (type.id() == QMetaType::QColor || IsColourProperty(property)) {
            // Both colour types: QColor, and 32-bit 0x00BBGGRR with the system colours.
            const bool packed = type.id() == QMetaType::UInt;
            auto *button = new QToolButton;
            button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
            button->setAutoRaise(true);
            auto shown = [this, packed](const QVariant &value) {
                return packed ? QVToQColor(TQVColor(value.toUInt()), palette()) : value.value<QColor>();
            };
            connect(button, &QToolButton::clicked, this, [this, target, property, set, shown, packed] {
                if (!target)
                    return;
                const QColor chosen = QColorDialog::getColor(
                    shown(property.read(target)), this, tr("Colour of %1").arg(property.name()),
                    packed ? QColorDialog::ColorDialogOptions() : QColorDialog::ShowAlphaChannel);
                if (chosen.isValid())
                    set(packed ? QVariant(quint32(QVFromQColor(chosen))) : QVariant(chosen));
            });
            refresh = [target, property, button, shown, packed] {
                if (!target)
                    return;
                const QVariant value = property.read(target);
                button->setIcon(QIcon(Swatch(shown(value))));
                button->setText(packed ? QStringLiteral("0x%1").arg(value.toUInt(), 8, 16, QLatin1Char('0')).toUpper().replace(
                                             QLatin1String("0X"), QLatin1String("0x"))
                                       : shown(value).name(QColor::HexArgb));
            };
            return button;
        }
        if (type.id() == QMetaType::QColor)
            return nullptr;
        [[fallthrough]];
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::Float:
    case QMetaType::Double:
    case QMetaType::QString: {
        auto *edit = new QLineEdit;
        const bool isFloat = type.id() == QMetaType::Float || type.id() == QMetaType::Double;
        connect(edit, &QLineEdit::editingFinished, this, [edit, set] {
            if (edit->isModified()) {
                edit->setModified(false);
                set(edit->text());
            }
        });
        refresh = [target, property, edit, isFloat] {
            if (!target)
                return;
            const QVariant value = property.read(target);
            edit->setText(isFloat ? FloatText(value) : value.toString());
            edit->setModified(false);
        };
        return edit;
    }
    case QMetaType::QStringList: {
        auto *edit = new QLineEdit;
        edit->setToolTip(tr("Entries separated by ;"));
        connect(edit, &QLineEdit::editingFinished, this, [edit, set] {
            if (!edit->isModified())
                return;
            edit->setModified(false);
            QStringList entries;
            for (const QString &entry : edit->text().split(u';', Qt::SkipEmptyParts)) {
                if (!entry.trimmed().isEmpty())
                    entries.append(entry.trimmed());
            }
            set(entries);
        });
        refresh = [target, property, edit] {
            if (target)
                edit->setText(property.read(target).toStringList().join(QStringLiteral("; ")));
        };
        return edit;
    }
    default:
        return nullptr; // fonts and pictures are not edited here
    }
}

void TQVWorkbench::RefreshProperties(bool live)
{
    // An open popup (a combo box's list) would close under a refresh of its editor.
    if (live && QApplication::activePopupWidget())
        return;
    const QWidget *focus = live ? QApplication::focusWidget() : nullptr;
    if (m_selected)
        m_propertyTitle->setText(PropertyTitle(m_selected, int(m_alsoSelected.size())));
    m_refreshing = true;
    for (const PropertyRow &row : m_rows) {
        if (focus && (focus == row.Editor || row.Editor->isAncestorOf(focus)))
            continue; // the user's edit, not yet applied
        const QSignalBlocker blocker(row.Editor);
        if (row.Refresh)
            row.Refresh();
    }
    m_refreshing = false;
}

void TQVWorkbench::Watch(QWidget *component)
{
    component->installEventFilter(this);
    for (QWidget *child : component->findChildren<QWidget *>())
        child->installEventFilter(this);
}

QWidget *TQVWorkbench::DesignComponentAt(QObject *watched) const
{
    const QList<QWidget *> components = m_model->VisualComponents();
    for (QObject *o = watched; o && o != m_model->Surface(); o = o->parent()) {
        if (o->isWidgetType() && components.contains(static_cast<QWidget *>(o)))
            return static_cast<QWidget *>(o);
    }
    return nullptr;
}

bool TQVWorkbench::eventFilter(QObject *watched, QEvent *event)
{
    if (!m_model)
        return false;
    QWidget *surface = m_model->Surface();
    const bool running = m_model->IsRunning();
    if (watched == m_centre) {
        if (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest) {
            m_wires->setGeometry(m_centre->rect());
            m_wires->raise();
            m_fadedWires = QImage();
        }
        return false;
    }
    // A resize by a handle takes the mouse wherever the press landed.
    const QEvent::Type type = event->type();
    if (!running && watched->isWidgetType() &&
        (type == QEvent::MouseButtonPress || type == QEvent::MouseMove || type == QEvent::MouseButtonRelease)) {
        auto *mouse = static_cast<QMouseEvent *>(event);
        const auto at = [&] { return surface->mapFromGlobal(mouse->globalPosition().toPoint()); };
        switch (type) {
        case QEvent::MouseButtonPress:
            if (mouse->button() == Qt::LeftButton && (watched == surface || DesignComponentAt(watched))) {
                const int handle = HandleAt(at());
                if (handle >= 0) {
                    surface->setFocus();
                    BeginResize(handle, at());
                    return true;
                }
            }
            break;
        case QEvent::MouseMove:
            if (m_resizeHandle >= 0) {
                ResizeTo(at());
                return true;
            }
            if (watched == surface && !(mouse->buttons() & Qt::LeftButton))
                surface->setCursor(HandleCursor(HandleAt(at())));
            break;
        case QEvent::MouseButtonRelease:
            if (m_resizeHandle >= 0) {
                ResizeTo(at());
                EndResize();
                return true;
            }
            break;
        default:
            break;
        }
    }
    if (watched == surface) {
        switch (event->type()) {
        case QEvent::Paint: {
            QPainter painter(surface);
            painter.fillRect(surface->rect(), QColor(250, 250, 248));
            painter.setPen(QColor(196, 200, 206));
            const QRect area = static_cast<QPaintEvent *>(event)->rect();
            for (int y = (area.top() / GridStep) * GridStep; y <= area.bottom(); y += GridStep) {
                for (int x = (area.left() / GridStep) * GridStep; x <= area.right(); x += GridStep)
                    painter.drawPoint(x, y);
            }
            return false;
        }
        case QEvent::Resize:
            m_overlay->resize(surface->size());
            return false;
        case QEvent::ContextMenu:
            if (!running)
                ShowContextMenu(static_cast<QContextMenuEvent *>(event)->globalPos(), false);
            return true;
        case QEvent::KeyPress:
            return !running && NudgeSelection(static_cast<QKeyEvent *>(event));
        case QEvent::MouseButtonPress: {
            surface->setFocus();
            if (running)
                return true;
            // A press on the empty form clears the selection (not with Ctrl or Shift) and
            // starts a rectangle that selects the components it touches.
            auto *mouse = static_cast<QMouseEvent *>(event);
            m_bandAdds = mouse->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier);
            if (!m_bandAdds)
                Select(nullptr);
            if (mouse->button() == Qt::LeftButton) {
                if (!m_band)
                    m_band = new QRubberBand(QRubberBand::Rectangle, surface);
                m_bandStart = mouse->position().toPoint();
                m_band->setGeometry(QRect(m_bandStart, QSize()));
                m_band->raise();
                m_band->show();
            }
            return true;
        }
        case QEvent::MouseMove:
            if (m_band && m_band->isVisible()) {
                m_band->setGeometry(QRect(m_bandStart, static_cast<QMouseEvent *>(event)->position().toPoint()).normalized());
                return true;
            }
            return false;
        case QEvent::MouseButtonRelease:
            if (m_band && m_band->isVisible()) {
                m_band->hide();
                const QRect band = m_band->geometry();
                QList<QObject *> selection = m_bandAdds ? SelectedComponents() : QList<QObject *>();
                QObject *current = m_selected;
                for (QWidget *widget : m_model->VisualComponents()) {
                    if (widget->geometry().intersects(band) && !selection.contains(widget))
                        selection.append(current = widget);
                }
                SetSelection(selection, current);
                return true;
            }
            return false;
        case QEvent::DragEnter:
        case QEvent::DragMove: {
            auto *drag = static_cast<QDragMoveEvent *>(event);
            if (!running && drag->mimeData()->hasFormat(ClassMimeType)) {
                drag->acceptProposedAction();
                return true;
            }
            return false;
        }
        case QEvent::Drop: {
            auto *drop = static_cast<QDropEvent *>(event);
            if (running || !drop->mimeData()->hasFormat(ClassMimeType))
                return false;
            drop->acceptProposedAction();
            const QPoint at = drop->position().toPoint();
            PlaceFromPalette(QString::fromUtf8(drop->mimeData()->data(ClassMimeType)),
                             QPoint(std::max(0, at.x() / SnapStep * SnapStep), std::max(0, at.y() / SnapStep * SnapStep)));
            return true;
        }
        default:
            return false;
        }
    }
    if (running || !watched->isWidgetType())
        return false;
    QWidget *component = DesignComponentAt(watched);
    if (!component)
        return false;
    switch (event->type()) {
    case QEvent::MouseButtonPress: {
        auto *mouse = static_cast<QMouseEvent *>(event);
        surface->setFocus();
        if (mouse->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier)) {
            Select(component, true); // in or out of the selection, no drag
            return true;
        }
        // A press on a selected component keeps the selection, so that all of it moves.
        if (SelectedComponents().contains(component))
            SetSelection(SelectedComponents(), component);
        else
            Select(component);
        if (mouse->button() == Qt::LeftButton) {
            m_dragWidget = component;
            m_dragStart = component->geometry();
            m_dragOffset = surface->mapFromGlobal(mouse->globalPosition().toPoint()) - component->pos();
            m_dragMoved = false;
            m_dragGroup.clear();
            for (QObject *selected : SelectedComponents()) {
                if (auto *widget = qobject_cast<QWidget *>(selected))
                    m_dragGroup.append({widget, widget->pos()});
            }
        }
        return true;
    }
    case QEvent::MouseMove: {
        if (m_dragWidget != component)
            return true;
        // The pressed component snaps to the grid; the others keep their distance to it,
        // and none goes past the top or left edge.
        auto *mouse = static_cast<QMouseEvent *>(event);
        const QPoint at = surface->mapFromGlobal(mouse->globalPosition().toPoint()) - m_dragOffset;
        QPoint offset = QPoint(Snap(at.x()), Snap(at.y())) - m_dragStart.topLeft();
        for (const auto &[widget, start] : m_dragGroup)
            offset = QPoint(std::max(offset.x(), -start.x()), std::max(offset.y(), -start.y()));
        if (m_dragStart.topLeft() + offset != component->pos()) {
            for (const auto &[widget, start] : m_dragGroup) {
                if (widget)
                    widget->move(start + offset);
            }
            m_dragMoved = true;
            UpdateOverlays();
        }
        return true;
    }
    case QEvent::MouseButtonRelease:
        if (m_dragWidget == component && m_dragMoved) {
            // Through the model, so that the move counts as one change of the form.
            const QPoint offset = component->pos() - m_dragStart.topLeft();
            QList<QWidget *> moved;
            for (const auto &[widget, start] : m_dragGroup) {
                if (widget) {
                    widget->move(start);
                    moved.append(widget);
                }
            }
            m_model->MoveComponents(moved, offset);
        }
        m_dragWidget = nullptr;
        m_dragGroup.clear();
        return true;
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
        return true;
    case QEvent::ContextMenu:
        ShowContextMenu(static_cast<QContextMenuEvent *>(event)->globalPos(), true);
        return true;
    default:
        return false;
    }
}

bool TQVWorkbench::ConfirmDiscard()
{
    if (!m_model->IsModified() || !m_modalErrors)
        return true;
    const auto answer = QMessageBox::question(this, tr("Velmora workbench"),
                                              tr("The form has unsaved changes. Save them?"),
                                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel);
    if (answer == QMessageBox::Save)
        return OnSave();
    return answer == QMessageBox::Discard;
}

void TQVWorkbench::closeEvent(QCloseEvent *event)
{
    if (!ConfirmDiscard()) {
        event->ignore();
        return;
    }
    m_model->Stop();
    event->accept();
}

void TQVWorkbench::OnNew()
{
    if (ConfirmDiscard())
        m_model->Clear();
}

void TQVWorkbench::OnOpen()
{
    if (!ConfirmDiscard())
        return;
    const QString fileName = QFileDialog::getOpenFileName(this, tr("Open form"), QString(),
                                                          tr("Velmora forms (*.vform);;All files (*)"));
    if (!fileName.isEmpty())
        OpenFile(fileName);
}

bool TQVWorkbench::OnSave()
{
    if (m_model->FileName().isEmpty())
        return OnSaveAs();
    const bool saved = m_model->Save(m_model->FileName());
    if (saved)
        AddRecentFile(m_model->FileName());
    UpdateTitle();
    return saved;
}

bool TQVWorkbench::OnSaveAs()
{
    QString fileName = QFileDialog::getSaveFileName(this, tr("Save form"), m_model->FileName(),
                                                    tr("Velmora forms (*.vform);;All files (*)"));
    if (fileName.isEmpty())
        return false;
    if (QFileInfo(fileName).suffix().isEmpty())
        fileName += QStringLiteral(".vform");
    const bool saved = m_model->Save(fileName);
    if (saved)
        AddRecentFile(fileName);
    UpdateTitle();
    return saved;
}

void TQVWorkbench::OnDelete()
{
    if (m_selected)
        m_model->RemoveComponents(SelectedComponents());
}

void TQVWorkbench::OnCopy(bool cut)
{
    const QList<QObject *> selection = SelectedComponents();
    const QString text = m_model->CopyText(selection);
    if (text.isEmpty())
        return;
    QApplication::clipboard()->setText(text);
    if (cut)
        m_model->RemoveComponents(selection);
}

void TQVWorkbench::OnPaste(const QString &text)
{
    const QList<QObject *> pasted = text.isEmpty() ? QList<QObject *>() : m_model->Paste(text);
    if (!pasted.isEmpty())
        SetSelection(pasted, pasted.last());
}

void TQVWorkbench::PlaceExample()
{
    TQVWorkbenchModel &m = *m_model;
    QObject *generator = m.AddComponent(QStringLiteral("TQVSignalGenerator"));
    QObject *analyzer = m.AddComponent(QStringLiteral("TQVAnalyzer"));
    auto *meter = qobject_cast<QWidget *>(m.AddComponent(QStringLiteral("TQVMeter"), QPoint(24, 24)));
    auto *bar = qobject_cast<QWidget *>(m.AddComponent(QStringLiteral("TQVBarGraph"), QPoint(296, 24)));
    auto *plot = qobject_cast<QWidget *>(m.AddComponent(QStringLiteral("TQVPlot"), QPoint(24, 312)));
    if (!generator || !analyzer || !meter || !bar || !plot)
        return;
    m.SetProperty(generator, QStringLiteral("Frequency"), 187.5); // four periods per block
    m.SetProperty(generator, QStringLiteral("Amplitude"), 0.9);
    m.SetProperty(generator, QStringLiteral("NoiseAmplitude"), 0.03);
    m.SetProperty(analyzer, QStringLiteral("Compression"), QStringLiteral("mcoRMS"));
    m.SetProperty(analyzer, QStringLiteral("MeasureSource"), generator->objectName());
    m.SetGeometry(meter, QRect(24, 24, 256, 256));
    m.SetGeometry(bar, QRect(296, 24, 104, 256));
    m.SetGeometry(plot, QRect(24, 296, 560, 240));
    for (QObject *display : {static_cast<QObject *>(meter), static_cast<QObject *>(bar)}) {
        m.SetProperty(display, QStringLiteral("AutoConfig"), false);
        m.SetProperty(display, QStringLiteral("ValueMax"), 1.0);
        m.SetProperty(display, QStringLiteral("ValueMin"), 0.0);
        m.SetProperty(display, QStringLiteral("MeasureSource"), analyzer->objectName());
    }
    m.SetProperty(meter, QStringLiteral("ValueGap"), 0.1);
    m.SetProperty(meter, QStringLiteral("ValueDecimals"), 1);
    m.SetProperty(meter, QStringLiteral("Legend1"), QStringLiteral("V"));
    m.SetProperty(meter, QStringLiteral("Legend2"), QStringLiteral("RMS"));
    m.SetProperty(bar, QStringLiteral("LabelingGap"), 0.2);
    m.SetProperty(bar, QStringLiteral("LabelingDecimals"), 1);
    m.SetProperty(bar, QStringLiteral("LabelingStyle"), QStringLiteral("lbsBoth"));
    // Green up to 0.5, amber to 0.8, red above, on both displays.
    const double limits[] = {0.5, 0.8, 1.0};
    const TQVColor colours[] = {0x40B040, 0x00C8F0, 0x3030E0};
    for (QObject *display : {static_cast<QObject *>(meter), static_cast<QObject *>(bar)}) {
        m.SetProperty(display, QStringLiteral("RangeNumber"), 3);
        for (int i = 0; i < 3; ++i) {
            m.SetProperty(display, QStringLiteral("RangeCurrent"), i + 1);
            m.SetProperty(display, QStringLiteral("RangeLimit"), limits[i]);
            m.SetProperty(display, QStringLiteral("RangeColor"), quint32(colours[i]));
        }
    }
    m.SetProperty(plot, QStringLiteral("Title"), tr("Generator output"));
    m.SetProperty(plot, QStringLiteral("XUnit"), QStringLiteral("s"));
    m.SetProperty(plot, QStringLiteral("YUnit"), QStringLiteral("V"));
    m.SetProperty(plot, QStringLiteral("MeasureSource"), generator->objectName());
    Select(meter);
}

bool TQVWorkbench::OpenFile(const QString &fileName)
{
    if (!m_model->Open(fileName))
        return false;
    AddRecentFile(fileName);
    UpdateTitle();
    return true;
}

QStringList TQVWorkbench::RecentFiles() const
{
    return Settings().value(RecentFilesKey).toStringList();
}

void TQVWorkbench::SetRecentFiles(const QStringList &files)
{
    Settings().setValue(RecentFilesKey, files.mid(0, MaxRecentFiles));
    UpdateRecentMenu();
}

void TQVWorkbench::AddRecentFile(const QString &fileName)
{
    const QString path = QFileInfo(fileName).absoluteFilePath();
    QStringList files = RecentFiles();
    files.removeAll(path);
    files.prepend(path);
    SetRecentFiles(files);
}

bool TQVWorkbench::OpenRecent(const QString &fileName)
{
    if (!QFileInfo::exists(fileName)) {
        QStringList files = RecentFiles();
        files.removeAll(fileName);
        SetRecentFiles(files);
        ShowError(tr("%1 no longer exists; it was removed from the recent files.").arg(fileName));
        return false;
    }
    return ConfirmDiscard() && OpenFile(fileName);
}

void TQVWorkbench::UpdateRecentMenu()
{
    if (!m_recentMenu)
        return;
    m_recentMenu->clear();
    const QStringList files = RecentFiles();
    for (int i = 0; i < files.size(); ++i) {
        const QString file = files[i];
        QAction *action = m_recentMenu->addAction(
            tr("&%1 %2").arg(i + 1).arg(QFileInfo(file).fileName().replace(u'&', QStringLiteral("&&"))));
        action->setToolTip(file);
        action->setStatusTip(file);
        connect(action, &QAction::triggered, this, [this, file] { OpenRecent(file); });
    }
    if (files.isEmpty())
        m_recentMenu->addAction(tr("(none)"))->setEnabled(false);
    else {
        m_recentMenu->addSeparator();
        connect(m_recentMenu->addAction(tr("&Clear list")), &QAction::triggered, this,
                [this] { SetRecentFiles({}); });
    }
}

void TQVWorkbench::UpdateOverlays()
{
    m_fadedWires = QImage();
    m_overlay->update();
    if (m_wires)
        m_wires->update();
}

QRect TQVWorkbench::ComponentRect(QObject *component, QWidget *to) const
{
    if (auto *widget = qobject_cast<QWidget *>(component)) {
        if (!widget->isVisible())
            return QRect();
        return QRect(widget->parentWidget()->mapTo(to, widget->pos()), widget->size());
    }
    for (int i = 0; i < m_tray->count(); ++i) {
        QListWidgetItem *item = m_tray->item(i);
        if (item->data(ComponentRole).value<QObject *>() == component) {
            // The icon and the first line of the name, not the whole grid cell.
            const QRect cell = m_tray->visualItemRect(item);
            const QRect tile(cell.center().x() - 36, cell.top() + 2, 72, std::min(cell.height() - 4, 52));
            return QRect(m_tray->viewport()->mapTo(to, tile.topLeft()), tile.size());
        }
    }
    return QRect();
}

QRect TQVWorkbench::WireEnd(QObject *component, QWidget *to, QRect *name) const
{
    const QRect box = ComponentRect(component, to);
    if (qobject_cast<QWidget *>(component) || box.isEmpty())
        return box;
    // A tile: its 32-pixel icon at the top, its name below.
    if (name)
        *name = QRect(box.left(), box.top() + 34, box.width(), box.height() - 34);
    return QRect(box.center().x() - 16, box.top(), 32, 32);
}

void TQVWorkbench::PaintWires(QPainter &painter)
{
    if (!m_model)
        return;
    if (!m_model->IsRunning())
        return DrawWires(painter);
    // A running form is there to be read: its wiring stays in sight, faint, faded as one
    // layer so that crossings do not show darker. Every repaint of an instrument beneath
    // repaints the layer, so it is drawn once until the wires change.
    const qreal ratio = painter.device()->devicePixelRatioF();
    const QSize size = QSize(painter.device()->width(), painter.device()->height()) * ratio;
    if (m_fadedWires.size() != size || m_fadedWires.devicePixelRatio() != ratio) {
        m_fadedWires = QImage(size, QImage::Format_ARGB32_Premultiplied);
        m_fadedWires.setDevicePixelRatio(ratio);
        m_fadedWires.fill(Qt::transparent);
        QPainter layer(&m_fadedWires);
        DrawWires(layer);
    }
    painter.setOpacity(0.3);
    painter.drawImage(QPoint(0, 0), m_fadedWires);
}

void TQVWorkbench::DrawWires(QPainter &painter)
{
    // Only over the visible form, the tray and what lies between them.
    const QWidget *form = m_formArea->viewport();
    const QWidget *tray = m_tray->viewport();
    const QPoint formAt = form->mapTo(m_centre, QPoint(0, 0));
    const QPoint trayAt = tray->mapTo(m_centre, QPoint(0, 0));
    const int left = std::max(formAt.x(), trayAt.x());
    const int right = std::min(formAt.x() + form->width(), trayAt.x() + tray->width());
    const QRect area(QPoint(left, formAt.y()), QPoint(right - 1, trayAt.y() + tray->height() - 1));
    painter.setClipRect(area);
    painter.setRenderHint(QPainter::Antialiasing);
    // Wires go round the components, the tiles' names and the tray's title.
    QList<QRectF> boxes;
    for (QObject *component : m_model->Components()) {
        QRect name;
        const QRectF r = WireEnd(component, m_centre, &name);
        if (!r.isEmpty())
            boxes.append(r);
        if (!name.isEmpty())
            boxes.append(name);
    }
    const QRect title(m_trayTitle->mapTo(m_centre, QPoint(0, 0)),
                      QSize(m_trayTitle->fontMetrics().horizontalAdvance(m_trayTitle->text()), m_trayTitle->height()));
    boxes.append(title);
    struct Wire
    {
        QObject *Source, *Consumer;
        QRectF From, To;
    };
    QList<Wire> wires;
    for (QObject *consumer : m_model->Components()) {
        const QMetaObject *meta = consumer->metaObject();
        for (int i = 0; i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            if (!(property.metaType().flags() & QMetaType::PointerToQObject) || !property.isReadable())
                continue;
            const QVariant value = property.read(consumer);
            QObject *source = *static_cast<QObject *const *>(value.constData());
            if (!source)
                continue;
            const QRectF from = WireEnd(source, m_centre);
            const QRectF to = WireEnd(consumer, m_centre);
            if (!from.isEmpty() && !to.isEmpty())
                wires.append({source, consumer, from, to});
        }
    }
    const QColor wire(30, 110, 220);
    for (const auto &[source, consumer, from, to] : wires) {
        // The ends of the wires that share neither end's component with this one.
        QList<QPointF> avoid;
        for (const Wire &other : wires) {
            if (other.Source != source && other.Source != consumer && other.Consumer != source && other.Consumer != consumer) {
                const auto [a, b] = WireEnds(other.From, other.To);
                avoid << a << b;
            }
        }
        const QPainterPath path = WirePath(from, to, boxes, QRectF(area), avoid);
        const bool selected = consumer == m_selected || source == m_selected ||
                              m_alsoSelected.contains(consumer) || m_alsoSelected.contains(source);
        QColor colour = selected ? wire.darker(130) : wire;
        colour.setAlpha(selected ? 235 : 170);
        painter.setBrush(Qt::NoBrush);
        // A light halo keeps the wire readable where it crosses another.
        painter.setPen(QPen(QColor(255, 255, 255, 150), selected ? 5.5 : 4.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(path);
        painter.setPen(QPen(colour, selected ? 2.5 : 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(path);
        painter.setBrush(Qt::white);
        painter.drawEllipse(path.pointAtPercent(0.0), 3.0, 3.0);
        // Arrow head along the end tangent, at the consumer.
        const QPointF b = path.pointAtPercent(1.0);
        const double angle = qDegreesToRadians(path.angleAtPercent(1.0));
        const QPointF tangent(std::cos(angle), -std::sin(angle));
        const QPointF normal(-tangent.y(), tangent.x());
        const QPointF back = b - tangent * 10.0;
        painter.setBrush(colour);
        painter.drawPolygon(QPolygonF({b, back + normal * 4.5, back - normal * 4.5}));
    }
}

std::pair<QPointF, QPointF> TQVWorkbench::WireEnds(const QRectF &from, const QRectF &to)
{
    // Data flows from the source to the consumer. The wire leaves and enters the middle of
    // the sides that face each other, along the axis on which the boxes lie further apart.
    const QPointF d = to.center() - from.center();
    const bool horizontal = std::abs(d.x()) > std::abs(d.y());
    const auto side = [horizontal](const QRectF &r, const QPointF &towards) {
        const QPointF c = r.center(), e = towards - c;
        return horizontal ? QPointF(e.x() > 0 ? r.right() : r.left(), c.y()) : QPointF(c.x(), e.y() > 0 ? r.bottom() : r.top());
    };
    return {side(from, to.center()), side(to, from.center())};
}

QPainterPath TQVWorkbench::WirePath(const QRectF &from, const QRectF &to, const QList<QRectF> &boxes, const QRectF &area,
                                    const QList<QPointF> &avoid)
{
    const QPointF d = to.center() - from.center();
    const bool horizontal = std::abs(d.x()) > std::abs(d.y());
    const auto [a, b] = WireEnds(from, to);
    const QPointF out = horizontal ? QPointF(d.x() > 0 ? 1 : -1, 0) : QPointF(0, d.y() > 0 ? 1 : -1);
    // The wire keeps 8 pixels from the boxes it passes, less where they stand closer, and
    // from the ends of other wires, so that it does not seem to join them.
    QList<QPointF> corners;
    for (const double clearance : {8.0, 4.0, 1.0}) {
        QList<QRectF> obstacles;
        for (const QRectF &box : boxes)
            obstacles.append(box.adjusted(-clearance, -clearance, clearance, clearance));
        for (const QPointF &end : avoid) // its first run and some room to cross it beyond
            obstacles.append(QRectF(end, end).adjusted(-2 * clearance, -2 * clearance, 2 * clearance, 2 * clearance));
        corners = QVRouteWire(a + out * clearance, b - out * clearance, obstacles, area);
        if (!corners.isEmpty())
            break;
    }
    QPainterPath path(a);
    if (corners.isEmpty()) {
        // No way around (an end is hemmed in): a curve straight across.
        const QPointF bend = horizontal ? QPointF((b - a).x() / 2, 0) : QPointF(0, (b - a).y() / 2);
        path.cubicTo(a + bend, b - bend, b);
        return path;
    }
    corners.prepend(a);
    corners.append(b);
    // Straight runs with rounded corners.
    for (qsizetype i = 1; i + 1 < corners.size(); ++i) {
        const QPointF p = corners[i], in = p - corners[i - 1], out = corners[i + 1] - p;
        const double lin = std::hypot(in.x(), in.y()), lout = std::hypot(out.x(), out.y());
        if (lin < 1e-9 || lout < 1e-9)
            continue;
        const double r = std::min({6.0, lin / 2, lout / 2});
        path.lineTo(p - in / lin * r);
        path.quadTo(p, p + out / lout * r);
    }
    path.lineTo(b);
    return path;
}

int TQVWorkbench::HandleAt(const QPoint &surfacePosition) const
{
    auto *widget = qobject_cast<QWidget *>(m_selected.data());
    if (!widget || m_model->IsRunning())
        return -1;
    const std::array<QRect, 8> handles = HandleRects(widget->geometry());
    for (int k = 0; k < 8; ++k) {
        if (handles[k].adjusted(-1, -1, 1, 1).contains(surfacePosition))
            return k;
    }
    return -1;
}

void TQVWorkbench::BeginResize(int handle, const QPoint &surfacePosition)
{
    auto *widget = qobject_cast<QWidget *>(m_selected.data());
    if (!widget || handle < 0 || handle > 7)
        return;
    m_dragWidget = widget;
    m_dragStart = widget->geometry();
    m_resizeHandle = handle;
    m_resizePress = surfacePosition;
    m_resizeEdges = QMargins();
    m_resizeGroup.clear();
    for (QWidget *other : SelectedWidgets()) {
        if (other != widget)
            m_resizeGroup.append({other, other->geometry()});
    }
}

void TQVWorkbench::ResizeTo(const QPoint &surfacePosition)
{
    QWidget *widget = m_dragWidget;
    if (!widget || m_resizeHandle < 0)
        return;
    // Moving edges snap like moves; the opposite edges stay; the size keeps the component's minimum.
    const QPoint delta = surfacePosition - m_resizePress;
    const int minWidth = std::max(8, widget->minimumWidth());
    const int minHeight = std::max(8, widget->minimumHeight());
    int left = m_dragStart.left();
    int top = m_dragStart.top();
    int right = left + m_dragStart.width();
    int bottom = top + m_dragStart.height();
    if (MovesLeft(m_resizeHandle))
        left = std::clamp(Snap(left + delta.x()), std::max(0, right - 10000), std::max(0, right - minWidth));
    if (MovesRight(m_resizeHandle))
        right = std::clamp(Snap(right + delta.x()), left + minWidth, left + 10000);
    if (MovesTop(m_resizeHandle))
        top = std::clamp(Snap(top + delta.y()), std::max(0, bottom - 10000), std::max(0, bottom - minHeight));
    if (MovesBottom(m_resizeHandle))
        bottom = std::clamp(Snap(bottom + delta.y()), top + minHeight, top + 10000);
    const QRect wanted(left, top, std::max(right - left, minWidth), std::max(bottom - top, minHeight));
    if (wanted == widget->geometry())
        return;
    widget->setGeometry(wanted);
    m_resizeEdges = QMargins(wanted.left() - m_dragStart.left(), wanted.top() - m_dragStart.top(),
                             wanted.right() - m_dragStart.right(), wanted.bottom() - m_dragStart.bottom());
    for (const auto &[other, start] : std::as_const(m_resizeGroup)) {
        if (other)
            other->setGeometry(TQVWorkbenchModel::ResizedGeometry(other, start, m_resizeEdges));
    }
    UpdateOverlays();
}

void TQVWorkbench::EndResize()
{
    QWidget *widget = m_dragWidget;
    m_resizeHandle = -1;
    m_dragWidget = nullptr;
    const auto group = std::exchange(m_resizeGroup, {});
    if (!widget || widget->geometry() == m_dragStart)
        return;
    // Through the model from where they started, so that the whole gesture is one change of the form.
    const QRect resized = widget->geometry();
    widget->setGeometry(m_dragStart);
    QList<QWidget *> widgets{widget};
    for (const auto &[other, start] : group) {
        if (other) {
            other->setGeometry(start);
            widgets.append(other);
        }
    }
    if (widgets.size() == 1)
        m_model->SetGeometry(widget, resized);
    else
        m_model->ResizeComponents(widgets, m_resizeEdges);
}
