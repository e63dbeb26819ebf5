/// Kestrel as a library: compile scripts, call their functions, shade samples, from a program of your own.
///
///     kestrel::script::Engine engine;
///     engine.define("double", 1, [](auto args) { return args[0].number() * 2; });
///     auto compiled = engine.compile("twice: x { return double(x); }");
///     if (compiled) std::cout << compiled.script->call("twice", {21}).values.at(0).number();
///
/// What holds everywhere:
///
///   Ownership   Values, diagnostics and results are copies: they stay valid when script and engine are gone.
///               A Script keeps what it needs of its engine, so either may go first. A function that holds a
///               Script of its own engine keeps both alive for ever: let it refer to the Script instead.
///   Errors      What a script does wrong is a Diagnostic, never an exception. Wrong uses of this interface
///               throw: std::invalid_argument for an argument that can never be right, std::logic_error for a
///               call at a time when it cannot be made. Memory that runs out ends a compile or a run with the
///               error "memory-exhausted"; std::bad_alloc is thrown where there is none for what goes in and
///               comes out: values, diagnostics, engines. In a function that scripts call it is an exception
///               as any other.
///   Threads     An engine and its scripts are used by one thread at a time; which one may change. A call
///               that finds another thread at work with the engine throws std::logic_error and does nothing
///               else. Engines have nothing in common, so each thread can have its own. Canceller alone is
///               for any thread. Engines and scripts must not be destroyed while another thread is at work
///               with them.
///   Re-entry    A function that a script calls may use other scripts of its engine. The script that is
///               calling it is busy: call(), evaluate() and setGlobal() throw std::logic_error, which, not
///               caught, becomes an error of that call. What only looks (has(), global(), diagnostics())
///               works.
///   Trust       Scripts compute. Files, other programs and stored values are closed unless Options open
///               them; a script that calls what is closed gets the error "not-allowed", and the call gives
///               nil. A function that does not return is ended by a Canceller. Scripts can compute with
///               addresses: where the language wants a number, that of a text or an array is one. So a result
///               can tell whoever sees it where the program's memory lies.
#ifndef KESTREL_SCRIPT_H
#define KESTREL_SCRIPT_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#if defined(__GNUC__)
#define KESTREL_SCRIPT_API __attribute__((visibility("default")))
#define KESTREL_SCRIPT_LOCAL __attribute__((visibility("hidden")))
#else
#define KESTREL_SCRIPT_API
#define KESTREL_SCRIPT_LOCAL
#endif

namespace kestrel::script {

/// A Vector of the language.
struct Vector {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    friend bool operator==(const Vector&, const Vector&) = default;
};

/// A text that is handed in: a string of any sort.
class TextView {
public:
    /// @throws std::invalid_argument for a null pointer
    TextView(const char* text)
        : view_(text != nullptr ? text : throw std::invalid_argument("kestrel: a text is a null pointer")) {}
    TextView(std::nullptr_t) = delete;
    TextView(std::string_view text) noexcept : view_(text) {}
    TextView(const std::string& text) noexcept : view_(text) {}
    operator std::string_view() const noexcept { return view_; }

private:
    std::string_view view_;
};

/// A value of the language, with all that it refers to. Files, records and other objects of a script cannot
/// leave it: they come out as nil.
class Value {
public:
    enum class Kind { Nil, Number, Integer, Vector, Text, Array };
    /// The elements in order; of an array with several dimensions row by row. None is an array itself.
    using Array = std::vector<Value>;

    Value() = default;
    template <std::floating_point T>
    Value(T value) : value_(static_cast<double>(value)) {}
    /// An Integer. It is kept as a double, so it is exact up to 2^53.
    template <std::integral T>
    Value(T value) : value_(Whole{static_cast<double>(value)}) {}
    Value(const Vector& value) : value_(value) {}
    /// Scripts see a text up to its first NUL.
    Value(std::string value) : value_(std::move(value)) {}
    Value(std::string_view value) : value_(std::string(value)) {}
    /// @throws std::invalid_argument for a null pointer
    Value(const char* value) : Value(std::string_view(TextView(value))) {}
    Value(std::nullptr_t) = delete;
    Value(Array value) : value_(std::move(value)) {}

    [[nodiscard]] Kind kind() const noexcept { return static_cast<Kind>(value_.index()); }
    [[nodiscard]] bool isNil() const noexcept { return kind() == Kind::Nil; }

    // What it holds. They throw std::domain_error for a value of another kind.

    /// Of a Number or an Integer.
    [[nodiscard]] double number() const {
        if (const auto* whole = std::get_if<Whole>(&value_)) return whole->value;
        return get<double>("number");
    }
    [[nodiscard]] const Vector& vector() const { return get<Vector>("Vector"); }
    [[nodiscard]] const std::string& text() const { return get<std::string>("text"); }
    [[nodiscard]] const Array& array() const { return get<Array>("array"); }

    /// An Integer out of a double, as scripts have them: also of numbers beyond 64 bits.
    [[nodiscard]] static Value integer(double value) {
        Value made;
        made.value_ = Whole{value};
        return made;
    }

    /// Same kind and same content.
    friend bool operator==(const Value&, const Value&) = default;

private:
    struct Whole {
        double value;
        friend bool operator==(const Whole&, const Whole&) = default;
    };

    template <class T>
    const T& get(const char* kind) const {
        if (const T* held = std::get_if<T>(&value_)) return *held;
        throw std::domain_error(std::string("kestrel: the value is no ") + kind);
    }

    std::variant<std::monostate, double, Whole, Vector, std::string, Array> value_;  // in the order of Kind
};

/// Something that a compile or a script has to say.
struct Diagnostic {
    enum class Kind { Info, Warning, Error };
    Kind kind = Kind::Info;
    /// The name of the message, such as "division-by-zero", which no version changes. `kestrel help` knows
    /// it.
    std::string id;
    std::string text;         ///< as `kestrel check` and `kestrel run` print it; may be of two lines
    std::string file;         ///< where it is about: the script's name or the path of a file; empty: unknown
    std::int32_t line = 0;    ///< from 1; 0 = unknown, as for the columns
    std::int32_t column = 0;  ///< from 1
    std::int32_t endColumn = 0;  ///< one past the last character
};

/// What shades samples. All give the same results to the last bit.
enum class Executor {
    Automatic,   ///< the fastest that the machine and the script allow
    Definition,  ///< the interpreter, which all others are measured by
    Threaded,    ///< without machine code
    Native,      ///< with machine code where that can be: on x86-64 with AVX, as the build has it
};

struct Options {
    /// Bytes that the texts, arrays and records of one script may take together; at most, and as long as it
    /// is 0, two gigabytes. A script that wants more is ended with the error "memory-exhausted".
    std::size_t memoryLimit = 0;
    /// Native paths of the directories in which scripts find their inserts and libraries, in this order. One
    /// that comes from a file looks in its own directory first. Names and symbolic links that lead out of
    /// them are not found.
    std::vector<std::string> searchFolders = {};
    bool leavesFolders = false;  ///< for scripts that are trusted: names and links may lead anywhere
    bool files = false;          ///< scripts may read, write and list files, and change the current directory
    bool processes =
        false;           ///< scripts may run programs, which do as they like, and read environment variables
    bool store = false;  ///< scripts may keep values in the user's store, as those of the command do
    Executor executor = Executor::Automatic;
    /// How many samples of a batch are computed at a time: 4 with AVX2, 8 with AVX-512, and as long as it is
    /// 0 as many as the machine can. With others, and with more than it can, they are computed one by one.
    int batchLanes = 0;
};

/// A function that scripts can call. Its arguments are valid during the call. An exception that leaves it
/// becomes the error "native-code-failed" with what it says, and the call gives nil; the script goes on. A
/// call that brings another number of values than the function takes (an argument may itself be several
/// returned values) is an error, and gives nil without calling it.
using Function = std::function<Value(std::span<const Value> arguments)>;

/// What `process` works on, field by field as the record `ShadingSample` of a host. The embedder fills it;
/// the script changes what follows polNum.
struct Sample {
    std::int32_t sx = 0, sy = 0;  ///< pixel
    double oPos[3] = {};          ///< position, object space
    double wPos[3] = {};          ///< position, world space
    double gNorm[3] = {};         ///< geometric normal, world space
    double spotSize = 0.0;        ///< diameter of the sample on the surface
    double raySource[3] = {};     ///< origin of the ray that found the sample
    double rayLength = 0.0;       ///< its length
    double cosine = 0.0;          ///< cosine between the normal and the view direction
    double oXfrm[9] = {};         ///< object to world rotation, row by row
    double wXfrm[9] = {};         ///< world to object rotation; scripts read oXfrm under this name too
    std::uint32_t objID = 0;      ///< of no use here: scripts read nil
    std::int32_t polNum = 0;      ///< polygon number
    double wNorm[3] = {};         ///< shading normal, world space
    double color[3] = {};         ///< RGB, 0..1
    double luminous = 0.0;        ///< 0..1
    double diffuse = 0.0;
    double specular = 0.0;
    double mirror = 0.0;
    double transparency = 0.0;
    double eta = 0.0;  ///< refraction index
    double roughness = 0.0;
    /// Where a host has its operations for light and rays. Not looked at: illuminate() and raytrace() are not
    /// available to scripts here.
    void (*unused[2])() = {};
};

/// Where a batch of samples is: for each number of a Sample that differs between them an array, its plane,
/// with that number of sample 0, 1, 2 ... Whatever has no plane is the same for all.
///
///     kestrel::script::Planes planes(xs.size());
///     planes.read("oPos", 1, xs).read("oPos", 2, ys).update("color", 1, reds);
///     script.evaluate(planes);
///
/// Planes are made once and used for any number of evaluations; the arrays belong to the caller, and stay
/// where they are as long as it is used. Names are those that scripts write, and numbers of a member count
/// from 1, as in scripts; of a member that is one number it is 1.
///
/// read() and update() throw std::invalid_argument, and add nothing, for a name that is no member of a sample
/// or one that scripts cannot read (raySource and objID; wXfrm, since they read oXfrm under its name), for a
/// number that the member does not have, for one that has a plane already, for a plane that is shorter than
/// the batch, and for one that overlaps another when one of the two is updated.
class KESTREL_SCRIPT_API Planes {
public:
    /// @param count   samples of the batch; may be 0
    /// @param common  what all samples begin with where there is no plane; what scripts write there is
    /// dropped
    explicit Planes(std::size_t count, const Sample& common = {});
    ~Planes();
    Planes(Planes&&) noexcept;
    Planes& operator=(Planes&&) noexcept;
    Planes(const Planes&) = delete;
    Planes& operator=(const Planes&) = delete;

    /// A plane that is only read: what scripts write to the member is dropped.
    Planes& read(TextView member, int number, std::span<const double> plane);
    /// The same of a member of whole numbers: sx, sy and polNum.
    Planes& read(TextView member, int number, std::span<const std::int32_t> plane);
    /// A plane of a member that scripts change (those of a Sample that follow polNum). Samples begin with
    /// what it holds; afterwards it holds what the script has left there.
    /// @throws std::invalid_argument also for a member that scripts cannot change
    Planes& update(TextView member, int number, std::span<double> plane);

    [[nodiscard]] std::size_t count() const noexcept { return count_; }

    struct KESTREL_SCRIPT_LOCAL Impl;

private:
    friend class Script;
    std::size_t count_;
    std::unique_ptr<Impl> impl_;
};

/// How a run ended.
enum class Status {
    Done,            ///< maybe with errors that do not end a run: see the diagnostics
    Aborted,         ///< an error has ended it; the last diagnostics say which
    Cancelled,       ///< by a Canceller
    NoSuchFunction,  ///< the script does not have the function, and nothing has run
};

struct Result {
    Status status = Status::Done;
    std::vector<Value> values;  ///< what the function returned: none, one or several
    explicit operator bool() const noexcept { return status == Status::Done; }
};

/// What came of a batch.
struct BatchResult {
    /// Done, or how the last sample that was evaluated ended.
    Status status = Status::Done;
    /// Samples that `process` has run over. Those behind them are as they were.
    std::size_t evaluated = 0;
    explicit operator bool() const noexcept { return status == Status::Done; }
};

/// Ends what an engine's scripts do, from any thread. It may outlive the engine.
class KESTREL_SCRIPT_API Canceller {
public:
    /// The run or compile in progress ends at its next loop or call, and so does each later one.
    void cancel() const noexcept;
    /// Runs and compiles that begin from now on go on; the one in progress ends all the same.
    void resume() const noexcept;

    struct KESTREL_SCRIPT_LOCAL Impl;  ///< not for embedders, as those below

private:
    friend class Engine;
    explicit Canceller(std::shared_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
    std::shared_ptr<Impl> impl_;
};

/// A script that has been compiled and whose code outside functions has run. A handle: copies mean the same
/// script, which is unloaded with the last of them. One that was moved from can only be assigned to: anything
/// else throws std::logic_error. A script takes about half a megabyte besides what it makes.
class KESTREL_SCRIPT_API Script {
public:
    [[nodiscard]] bool has(TextView function) const;

    /// Runs a function of the script. Arguments beyond its parameters are ignored; too few are an error of
    /// the script.
    /// @throws std::invalid_argument for an array that holds an array
    Result call(TextView function, std::span<const Value> arguments = {});
    Result call(TextView function, std::initializer_list<Value> arguments) {
        return call(function, std::span<const Value>(arguments.begin(), arguments.size()));
    }

    /// Runs `process` over a sample. Nothing is looked up by name; and but for the first run nothing is
    /// allocated while a script works with numbers, Vectors and arrays that are there, and functions that are
    /// defined take and give numbers and Vectors. Texts, records, new arrays and diagnostics take memory.
    Status evaluate(Sample& sample);

    /// Runs `process` over samples in order. Results, diagnostics and all that the script keeps are to the
    /// last bit those of one evaluate() after the other, which ends behind the first sample whose status is
    /// not Done; diagnostics() has what was said of all of them. Where the script keeps nothing from one
    /// sample to the next and the machine has AVX2, several are computed at a time.
    /// @param first  of the planes' samples
    /// @throws std::invalid_argument for samples that the planes do not have; std::logic_error for Planes
    /// that were
    ///         moved elsewhere
    BatchResult evaluate(const Planes& planes, std::size_t first, std::size_t count);
    BatchResult evaluate(const Planes& planes) { return evaluate(planes, 0, planes.count()); }

    /// A global variable; nothing when the script has none of that name. Functions, records and their members
    /// are none.
    [[nodiscard]] std::optional<Value> global(TextView name) const;
    /// Gives one another value, whatever kind it has. An array with several dimensions keeps them when as
    /// many elements come.
    /// @return false when the script has none of that name, it is a constant, or there is no memory for it;
    ///         nothing has changed then
    /// @throws std::invalid_argument for an array that holds an array
    bool setGlobal(TextView name, const Value& value);

    /// What was said during the last call(), evaluate() or setGlobal(): the first thousand, where the error
    /// that ended the run takes the last place if it comes later. The limit of errors that ends a run counts
    /// for each call anew, and for each sample of a batch.
    [[nodiscard]] std::vector<Diagnostic> diagnostics() const;
    /// How many were said beyond those.
    [[nodiscard]] std::size_t droppedDiagnostics() const;
    /// Of the samples that batches have evaluated: those that were computed several at a time.
    [[nodiscard]] std::uint64_t samplesInGroups() const;

    struct KESTREL_SCRIPT_LOCAL Impl;

private:
    friend class Engine;
    explicit Script(std::shared_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
    [[nodiscard]] const std::shared_ptr<Impl>& impl() const;

    std::shared_ptr<Impl> impl_;
};

/// What came of a compile.
struct Compiled {
    std::optional<Script> script;  ///< nothing but where the status is Done
    /// Done; Aborted: it does not compile; Cancelled: while it compiled, or in its code outside functions.
    Status status = Status::Done;
    /// Of the compile and of the code outside functions. A script whose code was ended by an error is there
    /// all the same, as it is when a host loads it.
    std::vector<Diagnostic> diagnostics;
    std::size_t droppedDiagnostics = 0;  ///< beyond the first thousand
    explicit operator bool() const noexcept { return script.has_value(); }
};

/// Compiles scripts and has what they share: the functions that it defines, and what they may do.
class KESTREL_SCRIPT_API Engine {
public:
    /// @throws std::invalid_argument for a folder without a name
    explicit Engine(Options options = {});
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Gives scripts that are compiled from now on a function.
    /// @param name           letters, digits and "_", the first no digit
    /// @param argumentCount  -1 for any; other counts are an error of the script then, and the call gives nil
    /// @throws std::invalid_argument for a name that is none, a word of the language, a built-in or defined
    ///         already; for a function that is empty, and a count below -1
    void define(TextView name, int argumentCount, Function function);

    /// Compiles a text and runs its code outside functions. No file is touched but inserts and libraries that
    /// it names.
    /// @param name  what diagnostics call it
    /// @throws std::invalid_argument for an empty name
    [[nodiscard]] Compiled compile(TextView source, TextView name = "<script>");
    /// The same with a file, by its native path. One that cannot be read is a diagnostic; a "\" in the path
    /// counts as "/".
    [[nodiscard]] Compiled compileFile(TextView path);

    [[nodiscard]] Canceller canceller() const noexcept;

    struct KESTREL_SCRIPT_LOCAL Impl;

private:
    Compiled load(std::string_view path, std::optional<std::string_view> text);

    std::shared_ptr<Impl> impl_;
};

}  // namespace kestrel::script

#endif
