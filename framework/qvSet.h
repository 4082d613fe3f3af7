#pragma once

#include <initializer_list>
#include <type_traits>

/// \brief A set over an enumeration whose values are small ordinals: value k is bit k.
template <typename Enum, typename Storage>
class TQVSet
{
    static_assert(std::is_enum_v<Enum>);
    static_assert(std::is_unsigned_v<Storage>);

public:
    constexpr TQVSet() = default;
    constexpr TQVSet(std::initializer_list<Enum> values)
    {
        for (Enum value : values)
            m_bits |= Bit(value);
    }

    static constexpr TQVSet FromBits(Storage bits)
    {
        TQVSet set;
        set.m_bits = bits;
        return set;
    }
    constexpr Storage Bits() const { return m_bits; }

    constexpr bool Contains(Enum value) const { return (m_bits & Bit(value)) != 0; }
    constexpr bool ContainsAll(TQVSet other) const { return (m_bits & other.m_bits) == other.m_bits; }
    constexpr bool IsEmpty() const { return m_bits == 0; }

    constexpr TQVSet &Include(Enum value) { m_bits |= Bit(value); return *this; }
    constexpr TQVSet &Exclude(Enum value) { m_bits &= static_cast<Storage>(~Bit(value)); return *this; }

    friend constexpr TQVSet operator+(TQVSet a, TQVSet b) { return FromBits(a.m_bits | b.m_bits); }
    friend constexpr TQVSet operator-(TQVSet a, TQVSet b)
    {
        return FromBits(static_cast<Storage>(a.m_bits & ~b.m_bits));
    }
    friend constexpr TQVSet operator*(TQVSet a, TQVSet b) { return FromBits(a.m_bits & b.m_bits); }
    friend constexpr TQVSet operator+(TQVSet a, Enum b) { return a.Include(b); }
    friend constexpr TQVSet operator-(TQVSet a, Enum b) { return a.Exclude(b); }
    friend constexpr bool operator==(TQVSet a, TQVSet b) = default;

private:
    static constexpr Storage Bit(Enum value) { return static_cast<Storage>(Storage(1) << static_cast<unsigned>(value)); }

    Storage m_bits = 0;
};
