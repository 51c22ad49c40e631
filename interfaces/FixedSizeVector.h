#pragma once

// Inline storage for exactly N elements and a count: no allocation, for hot
// paths. All N elements are built with the vector, so a push is an assignment.
template <class T, unsigned N>
class FixedSizeVector
{
public:
    static constexpr unsigned maxSize = N;

    unsigned size() const noexcept { return count; }
    bool full() const noexcept { return count == N; }
    T& operator[](unsigned index) noexcept { return items[index]; }
    const T& operator[](unsigned index) const noexcept { return items[index]; }
    T* begin() noexcept { return items; }
    T* end() noexcept { return items + count; }
    const T* begin() const noexcept { return items; }
    const T* end() const noexcept { return items + count; }

    // False, storing nothing, when the vector is full.
    bool push_back(const T& item)
    {
        if (full())
            return false;
        items[count++] = item;
        return true;
    }

    void clear() noexcept { count = 0; }

    // Removes the first equal element and closes the gap in order; an absent
    // element changes nothing.
    void remove(const T& item) noexcept
    {
        for (unsigned i = 0; i < count; ++i) {
            if (items[i] == item) {
                for (unsigned j = i + 1; j < count; ++j)
                    items[j - 1] = items[j];
                --count;
                return;
            }
        }
    }

private:
    T items[N];
    unsigned count = 0;
};
