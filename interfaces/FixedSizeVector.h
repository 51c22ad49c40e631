#pragma once

// A fixed array with a count: no allocation, for hot paths.
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

    // The caller checks full() first.
    void push_back(const T& item) noexcept { items[count++] = item; }

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
