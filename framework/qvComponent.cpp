#include "qvComponent.h"

QString QVVersionText()
{
    return QStringLiteral("7.0");
}

QString QVCopyrightText()
{
    return QStringLiteral("Copyright (c) Velmora developers. All rights reserved.");
}

TQVComponentState::~TQVComponentState() = default;

void TQVComponentState::SetDesigning(bool designing)
{
    m_state = designing ? (m_state | csDesigning) : (m_state & ~csDesigning);
}

void TQVComponentState::BeginLoading()
{
    m_state |= csLoading;
}

void TQVComponentState::Loaded()
{
    m_state &= ~csLoading;
}

void TQVComponentState::DefineProperties(TQVFiler &)
{
}

TQVComponentState *TQVComponentState::Of(QObject *object)
{
    return dynamic_cast<TQVComponentState *>(object);
}

void TQVComponentState::InheritDesigning(const QObject *owner)
{
    for (const QObject *o = owner; o; o = o->parent()) {
        if (auto *state = dynamic_cast<const TQVComponentState *>(o)) {
            SetDesigning(state->IsDesigning());
            return;
        }
    }
}

void QVSetDesigning(QObject *root, bool designing)
{
    if (!root)
        return;
    if (TQVComponentState *state = TQVComponentState::Of(root))
        state->SetDesigning(designing);
    for (QObject *child : root->children())
        QVSetDesigning(child, designing);
}

TQVComponent::TQVComponent(QObject *owner)
    : QObject(owner)
{
    InheritDesigning(owner);
}

TQVComponent::~TQVComponent() = default;

void TQVComponent::SetTag(int tag)
{
    if (tag == Tag())
        return;
    TQVComponentState::SetTag(tag);
    emit TagChanged(tag);
}
