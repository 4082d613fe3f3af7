#pragma once

#include <exception>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include "qvGlobal.h"

/// \brief Base of every exception the library raises; carries the user-visible message.
class QV_CORE_EXPORT EQVException : public std::exception
{
public:
    explicit EQVException(const QString &message);

    QString Message() const { return m_message; }
    const char *what() const noexcept override;

private:
    QString m_message;
    QByteArray m_utf8;
};

/// \brief A value outside the range a property or operation accepts.
class QV_CORE_EXPORT ERangeError : public EQVException
{
public:
    using EQVException::EQVException;
};

/// \brief Text that does not convert to the number it must hold.
class QV_CORE_EXPORT EConvertError : public EQVException
{
public:
    using EQVException::EQVException;
};

/// \brief An index outside a list.
class QV_CORE_EXPORT EListError : public EQVException
{
public:
    using EQVException::EQVException;
};

/// \brief A stored form that cannot be read or an object tree that cannot be written.
///
/// Reading errors carry the 1-based line and column of the offending token (columns count
/// UTF-16 code units); writing errors carry 0 for both.
class QV_CORE_EXPORT EQVFormError : public EQVException
{
public:
    EQVFormError(const QString &message, int line = 0, int column = 0);

    int Line() const { return m_line; }
    int Column() const { return m_column; }

private:
    int m_line = 0;
    int m_column = 0;
};
