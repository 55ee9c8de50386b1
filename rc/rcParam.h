// Typed parameters: each holds one value of a fixed type and converts it to and from text.
// A table of types builds an array of parameters, which owns them. Beside them, the quoting of
// free text inside an argument string.
// Stateless type descriptors; parameters are used by one thread at a time. Nothing fails: text
// that does not parse gives the type's zero.
#ifndef RC_RCPARAM_H
#define RC_RCPARAM_H

#include "base/CoExport.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// A parameter of no type: setters do nothing, getters return zero, false or "".
class CO_EXPORT rcParam {
public:
    /// Describes one type of parameter.
    class CO_EXPORT Type {
    public:
        constexpr Type() = default;
        virtual ~Type() = default;
        /// The name as tables show it; a literal.
        virtual const char* name() const = 0;
        /// A new parameter of this type, owned by the caller.
        virtual rcParam* alloc() const = 0;
    };

    /// One row of a parameter table; the table ends with a row whose type is null.
    struct Info {
        const Type* type;        ///< Null in the row that ends the table.
        const char* description; ///< For people; not used when parameters are built.
    };

    /// The parameters of a table, in its order.
    class CO_EXPORT Array {
    public:
        /// \p info must not be null.
        explicit Array(const Info* info);
        /// Deletes the parameters.
        virtual ~Array();
        Array(const Array&) = delete;
        Array& operator=(const Array&) = delete;

        /// The number of parameters.
        std::size_t size() const { return parameters_.size(); }
        /// \p index is below size(). The parameter stays the array's.
        rcParam& operator[](std::size_t index) { return *parameters_[index]; }
        const rcParam& operator[](std::size_t index) const { return *parameters_[index]; }

    private:
        std::vector<std::unique_ptr<rcParam>> parameters_;
    };

    virtual ~rcParam();

    /// Store a value of the type that the name tells; what is not the parameter's own does nothing.
    virtual void setIntValue(int value);
    virtual void setLongValue(long value);
    virtual void setFloatValue(float value);
    /// Parses the text form; null is the empty text.
    virtual void setStringValue(const char* value);
    virtual void setBoolValue(bool value);

    /// Return the value of the type that the name tells; zero or false where it is not the
    /// parameter's own.
    virtual int intValue() const;
    virtual long longValue() const;
    virtual float floatValue() const;
    virtual bool boolValue() const;
    /// The text form; "" of a parameter without a value.
    virtual std::string stringValue() const;
};

/// No value.
class CO_EXPORT rcParamVoid : public rcParam {
public:
    /// Named "void".
    class CO_EXPORT VoidType : public Type {
    public:
        constexpr VoidType() = default;
        const char* name() const override;
        rcParam* alloc() const override;
    };
    /// The one object of its class, for tables.
    static const VoidType TYPE;
};

/// A decimal int; a text is read up to its first character that is not of the number.
class CO_EXPORT rcParamInt : public rcParam {
public:
    /// Named "int".
    class CO_EXPORT IntType : public Type {
    public:
        constexpr IntType() = default;
        const char* name() const override;
        rcParam* alloc() const override;
    };
    /// The one object of its class, for tables.
    static const IntType TYPE;

    void setIntValue(int value) override;
    void setStringValue(const char* value) override;
    int intValue() const override;
    std::string stringValue() const override;

private:
    int value_ = 0;
};

/// A decimal long; a text is read as that of an int.
class CO_EXPORT rcParamLong : public rcParam {
public:
    /// Named "long".
    class CO_EXPORT LongType : public Type {
    public:
        constexpr LongType() = default;
        const char* name() const override;
        rcParam* alloc() const override;
    };
    /// The one object of its class, for tables.
    static const LongType TYPE;

    void setLongValue(long value) override;
    void setStringValue(const char* value) override;
    long longValue() const override;
    std::string stringValue() const override;

private:
    long value_ = 0;
};

/// Text form with six decimals, always with a decimal point.
class CO_EXPORT rcParamFloat : public rcParam {
public:
    /// Named "float".
    class CO_EXPORT FloatType : public Type {
    public:
        constexpr FloatType() = default;
        const char* name() const override;
        rcParam* alloc() const override;
    };
    /// The one object of its class, for tables.
    static const FloatType TYPE;

    void setFloatValue(float value) override;
    void setStringValue(const char* value) override;
    float floatValue() const override;
    std::string stringValue() const override;

private:
    float value_ = 0.0F;
};

/// True for "1", "yes", "on" and "true" in any case; false for every other text.
class CO_EXPORT rcParamBool : public rcParam {
public:
    /// Named "bool".
    class CO_EXPORT BoolType : public Type {
    public:
        constexpr BoolType() = default;
        const char* name() const override;
        rcParam* alloc() const override;
    };
    /// The one object of its class, for tables.
    static const BoolType TYPE;

    void setBoolValue(bool value) override;
    void setStringValue(const char* value) override;
    bool boolValue() const override;
    std::string stringValue() const override;

private:
    bool value_ = false;
};

/// Any text, as it stands.
class CO_EXPORT rcParamString : public rcParam {
public:
    /// Named "const char *".
    class CO_EXPORT StringType : public Type {
    public:
        constexpr StringType() = default;
        const char* name() const override;
        rcParam* alloc() const override;
    };
    /// The one object of its class, for tables.
    static const StringType TYPE;

    void setStringValue(const char* value) override;
    std::string stringValue() const override;

private:
    std::string value_;
};

/// A string: the text in double quotes, with a backslash before each double quote and backslash.
/// A null text gives the empty string, without quotes.
class CO_EXPORT rcParamStringToEscapedString : public std::string {
public:
    explicit rcParamStringToEscapedString(const char* text);
};

/// A string: the text with each backslash dropped and its follower taken literally. Double quotes
/// are kept; a backslash at the end is dropped. A null text gives the empty string.
class CO_EXPORT rcParamEscapedStringToString : public std::string {
public:
    explicit rcParamEscapedStringToString(const char* text);
};

#endif
