#include "qvRegistry.h"

TQVClassRegistry::TQVClassRegistry() = default;
TQVClassRegistry::~TQVClassRegistry() = default;

void TQVClassRegistry::RegisterClass(const QString &name, const TQVComponentFactory &factory)
{
    if (name.isEmpty() || !factory)
        return;
    m_classes[name].Factory = factory;
}

void TQVClassRegistry::UnregisterClass(const QString &name)
{
    const auto it = m_classes.find(name);
    if (it == m_classes.end())
        return;
    if (!it->second.Page.isEmpty())
        m_pageClasses[it->second.Page].removeAll(name);
    m_classes.erase(it);
}

bool TQVClassRegistry::IsRegistered(const QString &name) const
{
    return m_classes.count(name) != 0;
}

TQVComponentFactory TQVClassRegistry::Factory(const QString &name) const
{
    const auto it = m_classes.find(name);
    return it == m_classes.end() ? TQVComponentFactory() : it->second.Factory;
}

QObject *TQVClassRegistry::Create(const QString &name, QObject *owner) const
{
    const auto it = m_classes.find(name);
    return it == m_classes.end() ? nullptr : it->second.Factory(owner);
}

QStringList TQVClassRegistry::ClassNames() const
{
    QStringList names;
    for (const auto &entry : m_classes)
        names.append(entry.first);
    return names;
}

void TQVClassRegistry::RegisterComponents(const QString &page, std::initializer_list<TQVComponentClass> classes)
{
    RegisterComponents(page, QList<TQVComponentClass>(classes));
}

void TQVClassRegistry::RegisterComponents(const QString &page, const QList<TQVComponentClass> &classes)
{
    if (page.isEmpty())
        return;
    for (const TQVComponentClass &cls : classes) {
        if (cls.Name.isEmpty() || !cls.Factory)
            continue;
        Entry &entry = m_classes[cls.Name];
        entry.Factory = cls.Factory;
        entry.Bitmap = cls.Bitmap.isEmpty() ? cls.Name : cls.Bitmap;
        if (entry.Page == page)
            continue; // registered again on its page: it keeps its place
        if (!entry.Page.isEmpty())
            m_pageClasses[entry.Page].removeAll(cls.Name);
        entry.Page = page;
        if (!m_pages.contains(page))
            m_pages.append(page);
        m_pageClasses[page].append(cls.Name);
    }
}

QStringList TQVClassRegistry::Pages() const
{
    return m_pages;
}

QStringList TQVClassRegistry::PageClasses(const QString &page) const
{
    const auto it = m_pageClasses.find(page);
    return it == m_pageClasses.end() ? QStringList() : it->second;
}

QString TQVClassRegistry::PalettePage(const QString &name) const
{
    const auto it = m_classes.find(name);
    return it == m_classes.end() ? QString() : it->second.Page;
}

QString TQVClassRegistry::PaletteBitmap(const QString &name) const
{
    const auto it = m_classes.find(name);
    return it == m_classes.end() ? QString() : it->second.Bitmap;
}

TQVClassRegistry &QVClassRegistry()
{
    static TQVClassRegistry registry;
    return registry;
}
