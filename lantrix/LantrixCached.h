// An answer of the server that is kept until it is to be asked for again.
#ifndef LANTRIX_LANTRIXCACHED_H
#define LANTRIX_LANTRIXCACHED_H

#include <utility>

template <class Value>
class LantrixCached {
public:
    bool isKnown() const { return isKnown_; }
    /// The answer, which must be known.
    const Value& get() const { return value_; }
    Value& get() { return value_; }
    /// Takes \p value, whose contents are undefined afterwards.
    void set(Value& value) noexcept {
        using std::swap;
        swap(value_, value);
        isKnown_ = true;
    }
    void forget() {
        Value nothing{};
        set(nothing);
        isKnown_ = false;
    }

private:
    Value value_{}; // without meaning while it is not known
    bool isKnown_ = false;
};

#endif
