// What the engine asks of queues: variables whose values other programs read and write.
#pragma once

#include "engine/program/program.h"
#include "engine/values/value.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace kestrel {

class EngineContext;

/// Names a queue's variable or array within one script; 0 names none.
using QueueVariableId = std::int32_t;

/// The queues of one script. Gone with the script: then those that it made end for it.
///
/// Every access waits while another program is at a variable of the same name, in whatever queue, and gives
/// up when the run is to end. One that finds no queue, or no such variable in it, has no effect: a read gives
/// Nil then.
class ScriptQueues {
public:
    virtual ~ScriptQueues() = default;

    /// Makes a queue of these variables and binds them to it (Variable::queue). An array variable's `number`
    /// is its size, and is 0 afterwards.
    /// @param pretend  binds only: nothing is made, and nobody else sees anything
    /// @return false when the queue cannot be made; nothing is bound then
    virtual bool declare(std::string_view queue, std::span<Variable* const> variables, bool pretend) = 0;
    /// A variable or array by its name, in a queue that need not exist (yet).
    [[nodiscard]] virtual QueueVariableId refer(std::string_view queue, std::string_view variable) = 0;
    /// The number of elements of an array that this script has declared, 0 for a plain variable, -1 when it
    /// is not declared here.
    [[nodiscard]] virtual std::int64_t elements(QueueVariableId id) const = 0;
    /// The same, also of one that another script has declared.
    [[nodiscard]] virtual std::int64_t lookUpElements(QueueVariableId id) = 0;

    /// @param element  of an array, from 1; 0 for a plain variable
    /// @param value    receives the value; a text is the caller's (TempString)
    /// @return false when there is no such variable; the value is Nil then
    virtual bool read(QueueVariableId id, std::int64_t element, ValueCell& value) = 0;
    /// The value stays the caller's. Texts are cut at 255 characters, integers at 32 bits.
    virtual void write(QueueVariableId id, std::int64_t element, const ValueCell& value) = 0;
    /// The same, unless another program has written a value since this one was read: so a change that depends
    /// on the old value is tried again instead of undoing the other's.
    /// @param expected  what read() gave
    /// @return false when the value is another by now; nothing is written then
    [[nodiscard]] virtual bool writeIfStill(QueueVariableId id, std::int64_t element,
                                            const ValueCell& expected, const ValueCell& value) = 0;
};

/// Makes them.
class QueueService {
public:
    virtual ~QueueService() = default;
    [[nodiscard]] virtual std::unique_ptr<ScriptQueues> forScript(EngineContext& ctx) = 0;
};

/// Values that a queue can hold; others are refused with a message.
[[nodiscard]] constexpr bool fitsQueue(std::int32_t type) noexcept {
    return isPlainKind(type);
}

}  // namespace kestrel
