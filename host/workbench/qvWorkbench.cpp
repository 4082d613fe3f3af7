#include "qvWorkbench.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include <QtCore/QFileInfo>
#include <QtCore/QMetaEnum>
#include <QtCore/QMimeData>
#include <QtGui/QCloseEvent>
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
#include <QtWidgets/QScrollArea>
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
#include "indicators/qvRegister.h"

namespace {

const QString ClassMimeType = QStringLiteral("application/x-velmora-class");
constexpr int ClassRole = Qt::UserRole;
constexpr int ComponentRole = Qt::UserRole + 1;
constexpr int GridStep = 16;
constexpr int SnapStep = 4;

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

    QPointer<QWidget> Target;

protected:
    void paintEvent(QPaintEvent *) override
    {
        if (!Target || !Target->isVisible())
            return;
        QPainter painter(this);
        const QRect r = Target->geometry().adjusted(-3, -3, 2, 2);
        const QColor accent(30, 110, 220);
        painter.setPen(QPen(accent, 1, Qt::DashLine));
        painter.drawRect(r);
        painter.setPen(accent.darker(130));
        painter.setBrush(Qt::white);
        for (const QPoint &p : {r.topLeft(), r.topRight(), r.bottomLeft(), r.bottomRight(),
                                QPoint(r.center().x(), r.top()), QPoint(r.center().x(), r.bottom()),
                                QPoint(r.left(), r.center().y()), QPoint(r.right(), r.center().y())})
            painter.drawRect(QRect(p - QPoint(3, 3), QSize(6, 6)));
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
    m_overlay = new SelectionOverlay(surface);
    m_formArea = new QScrollArea;
    m_formArea->setWidgetResizable(true);
    m_formArea->setWidget(surface);
    m_formArea->setBackgroundRole(QPalette::Dark);

    auto *trayBox = new QWidget;
    auto *trayLayout = new QVBoxLayout(trayBox);
    trayLayout->setContentsMargins(0, 4, 0, 0);
    trayLayout->setSpacing(2);
    trayLayout->addWidget(new QLabel(tr("Non-visual components")));
    m_tray = new QListWidget;
    m_tray->setObjectName(QStringLiteral("Tray"));
    m_tray->setViewMode(QListView::IconMode);
    m_tray->setIconSize(QSize(32, 32));
    m_tray->setGridSize(QSize(124, 60));
    m_tray->setMovement(QListView::Static);
    m_tray->setResizeMode(QListView::Adjust);
    m_tray->setWordWrap(true);
    m_tray->setMinimumHeight(72);
    trayLayout->addWidget(m_tray);
    connect(m_tray, &QListWidget::itemSelectionChanged, this, [this] {
        if (m_refreshing)
            return;
        const QList<QListWidgetItem *> items = m_tray->selectedItems();
        if (!items.isEmpty())
            Select(items.first()->data(ComponentRole).value<QObject *>());
    });

    auto *centre = new QSplitter(Qt::Vertical);
    centre->addWidget(m_formArea);
    centre->addWidget(trayBox);
    centre->setStretchFactor(0, 1);
    centre->setSizes({600, 110});

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
    main->addWidget(centre);
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
    });
    connect(m_model, &TQVWorkbenchModel::ComponentRemoving, this, [this](QObject *component) {
        if (component == m_selected)
            Select(nullptr);
        for (int i = m_tray->count() - 1; i >= 0; --i) {
            if (m_tray->item(i)->data(ComponentRole).value<QObject *>() == component)
                delete m_tray->takeItem(i);
        }
    });
    connect(m_model, &TQVWorkbenchModel::ComponentChanged, this, [this](QObject *component) {
        if (component == m_selected)
            RefreshProperties();
        if (!TQVWorkbenchModel::IsVisual(component))
            RebuildTray();
        m_overlay->update();
    });
    connect(m_model, &TQVWorkbenchModel::FormReplaced, this, [this] {
        for (QWidget *widget : m_model->VisualComponents())
            Watch(widget);
        m_overlay->raise();
        RebuildTray();
        Select(nullptr);
        UpdateTitle();
    });
    connect(m_model, &TQVWorkbenchModel::RunningChanged, this, [this](bool running) {
        m_overlay->setVisible(!running);
        m_dragWidget = nullptr;
        statusBar()->showMessage(running ? tr("Running") : tr("Design"));
        UpdateActions();
    });
    connect(m_model, &TQVWorkbenchModel::ModifiedChanged, this, [this] { UpdateTitle(); });
    connect(m_model, &TQVWorkbenchModel::ErrorOccurred, this, &TQVWorkbench::ShowError);

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
    m_model->disconnect(this);
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
    m_deleteAction->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    m_formArea->addAction(m_deleteAction);
    m_tray->addAction(m_deleteAction);
    auto *quit = new QAction(tr("&Quit"), this);
    quit->setShortcut(QKeySequence::Quit);

    connect(m_newAction, &QAction::triggered, this, &TQVWorkbench::OnNew);
    connect(m_openAction, &QAction::triggered, this, &TQVWorkbench::OnOpen);
    connect(m_saveAction, &QAction::triggered, this, &TQVWorkbench::OnSave);
    connect(m_saveAsAction, &QAction::triggered, this, &TQVWorkbench::OnSaveAs);
    connect(m_runAction, &QAction::triggered, this, [this] { m_model->Run(); });
    connect(m_stopAction, &QAction::triggered, this, [this] { m_model->Stop(); });
    connect(m_deleteAction, &QAction::triggered, this, &TQVWorkbench::OnDelete);
    connect(quit, &QAction::triggered, this, &QWidget::close);

    QMenu *file = menuBar()->addMenu(tr("&File"));
    file->addActions({m_newAction, m_openAction, m_saveAction, m_saveAsAction});
    file->addSeparator();
    file->addAction(quit);
    QMenu *edit = menuBar()->addMenu(tr("&Edit"));
    edit->addAction(m_deleteAction);
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
    tools->addAction(m_deleteAction);
    UpdateActions();
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
    m_deleteAction->setEnabled(!running && m_selected);
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
        item->setSelected(component == m_selected);
    }
    m_refreshing = false;
}

void TQVWorkbench::Select(QObject *component)
{
    if (component && !m_model->Components().contains(component))
        component = nullptr;
    m_selected = component;
    static_cast<SelectionOverlay *>(m_overlay)->Target = qobject_cast<QWidget *>(component);
    m_overlay->raise();
    m_overlay->update();
    m_refreshing = true;
    for (int i = 0; i < m_tray->count(); ++i)
        m_tray->item(i)->setSelected(m_tray->item(i)->data(ComponentRole).value<QObject *>() == component);
    m_refreshing = false;
    RebuildProperties();
    UpdateActions();
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
    const QString className = QString::fromLatin1(component->metaObject()->className());
    m_propertyTitle->setText(tr("%1 (%2)").arg(component->objectName(), className));

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
    auto set = [this, target, name](const QVariant &value) {
        if (target && !m_refreshing)
            m_model->SetProperty(target, name, value);
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
            QStringList names{tr("(none)")};
            for (TQVMeasureSource *source : m_model->Sources(target))
                names.append(source->objectName());
            QStringList shown;
            for (int i = 0; i < combo->count(); ++i)
                shown.append(combo->itemText(i));
            if (shown != names) {
                combo->clear();
                combo->addItems(names);
            }
            const QVariant value = property.read(target);
            const QObject *current = (value.metaType().flags() & QMetaType::PointerToQObject)
                                         ? *static_cast<QObject *const *>(value.constData())
                                         : nullptr;
            const int index = current ? combo->findText(current->objectName()) : 0;
            combo->setCurrentIndex(std::max(index, 0));
        };
        return combo;
    }

    if (property.isEnumType() && !property.isFlagType()) {
        auto *combo = new QComboBox;
        const QMetaEnum enumerator = property.enumerator();
        for (int k = 0; k < enumerator.keyCount(); ++k)
            combo->addItem(QString::fromLatin1(enumerator.key(k)), enumerator.value(k));
        connect(combo, &QComboBox::activated, this, [combo, set](int index) { set(combo->itemText(index)); });
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
    case QMetaType::UInt:
        if (IsColourProperty(property)) {
            auto *button = new QToolButton;
            button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
            button->setAutoRaise(true);
            connect(button, &QToolButton::clicked, this, [this, target, property, set] {
                if (!target)
                    return;
                const QColor initial = QVToQColor(TQVColor(property.read(target).toUInt()), palette());
                const QColor chosen = QColorDialog::getColor(initial, this, tr("Colour of %1").arg(property.name()));
                if (chosen.isValid())
                    set(QVariant(quint32(QVFromQColor(chosen))));
            });
            refresh = [this, target, property, button] {
                if (!target)
                    return;
                const TQVColor colour = TQVColor(property.read(target).toUInt());
                button->setIcon(QIcon(Swatch(QVToQColor(colour, palette()))));
                button->setText(QStringLiteral("0x%1").arg(colour, 8, 16, QLatin1Char('0')).toUpper().replace(
                    QLatin1String("0X"), QLatin1String("0x")));
            };
            return button;
        }
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

void TQVWorkbench::RefreshProperties()
{
    if (m_selected)
        m_propertyTitle->setText(
            tr("%1 (%2)").arg(m_selected->objectName(), QString::fromLatin1(m_selected->metaObject()->className())));
    m_refreshing = true;
    for (const PropertyRow &row : m_rows) {
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
        case QEvent::MouseButtonPress:
            surface->setFocus();
            if (!running)
                Select(nullptr);
            return true;
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
        Select(component);
        if (mouse->button() == Qt::LeftButton) {
            m_dragWidget = component;
            m_dragStart = component->geometry();
            m_dragOffset = surface->mapFromGlobal(mouse->globalPosition().toPoint()) - component->pos();
            m_dragMoved = false;
        }
        return true;
    }
    case QEvent::MouseMove: {
        if (m_dragWidget != component)
            return true;
        auto *mouse = static_cast<QMouseEvent *>(event);
        QPoint at = surface->mapFromGlobal(mouse->globalPosition().toPoint()) - m_dragOffset;
        at = QPoint(std::max(0, int(std::lround(at.x() / double(SnapStep))) * SnapStep),
                    std::max(0, int(std::lround(at.y() / double(SnapStep))) * SnapStep));
        if (at != component->pos()) {
            component->move(at);
            m_dragMoved = true;
            m_overlay->update();
        }
        return true;
    }
    case QEvent::MouseButtonRelease:
        if (m_dragWidget == component && m_dragMoved) {
            // Through the model, so that the move counts as a change of the form.
            const QRect moved = component->geometry();
            component->setGeometry(m_dragStart);
            m_model->SetGeometry(component, moved);
        }
        m_dragWidget = nullptr;
        return true;
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::ContextMenu:
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
    if (!fileName.isEmpty() && m_model->Open(fileName))
        UpdateTitle();
}

bool TQVWorkbench::OnSave()
{
    if (m_model->FileName().isEmpty())
        return OnSaveAs();
    const bool saved = m_model->Save(m_model->FileName());
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
    UpdateTitle();
    return saved;
}

void TQVWorkbench::OnDelete()
{
    if (m_selected)
        m_model->RemoveComponent(m_selected);
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
