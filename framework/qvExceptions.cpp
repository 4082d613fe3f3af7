#include "qvExceptions.h"

EQVException::EQVException(const QString &message)
    : m_message(message)
    , m_utf8(message.toUtf8())
{
}

const char *EQVException::what() const noexcept
{
    return m_utf8.constData();
}

EQVFormError::EQVFormError(const QString &message, int line, int column)
    : EQVException(message)
    , m_line(line)
    , m_column(column)
{
}
