// A queue whose block anybody writes into, while scripts use it.
#include "engine/kinds/engine_kinds.h"
#include "fuzz/confined_script.h"
#include "fuzz/sandbox.h"
#include "fuzz/taken.h"
#include "ipc/queues.h"

#include <set>

namespace kestrel::fuzz {

namespace {

class Exchange {
public:
    Exchange(Taken& data, EngineContext& ctx)
        : data_(data),
          ctx_(ctx),
          queue_(Sandbox::get().sharedName("queue")),
          prefix_(Sandbox::get().sharedName("")) {
        for (const char* name : {"a", "b"}) slots_.push_back(prefix_ + name);
        for (std::int64_t element = 1; element <= 3; ++element)
            slots_.push_back(elementSlotName(prefix_ + "list", element));
        owner_ = QueueBlock::create(queue_, slots_);
        memory_ = platform::NamedMemory::open(queueBlockName(queue_));
        require(owner_ != nullptr && memory_.has_value(), "a queue can be made");
        script_ = queues_.forScript(ctx);
        semaphores_.insert(slots_.begin(), slots_.end());
    }
    ~Exchange() {
        script_.reset();
        owner_.reset();
        memory_.reset();
        for (const std::string& slot : semaphores_)
            if (auto semaphore = platform::NamedSemaphore::open(slotSemaphoreName(slot)))
                static_cast<void>(semaphore->remove());
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    void step() {
        switch (data_.below(6)) {
            case 0:
            case 1:
                return scribble();
            case 2:
                return use(*owner_);
            case 3:
                if (const auto other = QueueBlock::open(queue_)) use(*other);
                return;
            default:
                return useFromScript();
        }
    }

private:
    /// Anything into the block. Only the names of slots keep a beginning that no other program's have, since
    /// semaphores are made by them.
    void scribble() {
        const std::span<std::byte> block = memory_->bytes();
        if (data_.below(2) == 0) {
            // Where the numbers are that lead somewhere.
            constexpr std::size_t kFields = offsetof(SharedRecord, payload) / sizeof(std::int32_t);
            const std::size_t record = data_.below(12);
            const std::size_t field = data_.below(kFields);
            const std::int32_t value = data_.rarely(3) ? data_.raw<std::int32_t>() : data_.raw<std::int8_t>();
            put(block, sizeof(SharedBlockHeader) + record * kSharedRecordSize + field * sizeof value,
                textOf(bytesOf(value)));
        } else {
            const std::size_t at = data_.raw<std::uint16_t>() % block.size();
            put(block, at, textOf(data_.take(data_.byte())));
        }
        for (SharedRecord& record : sharedRecords(block)) {
            if (record.state != kSlotState) continue;
            if (record.text().find(prefix_) == std::string_view::npos)
                prefix_.copy(record.payload.data(), prefix_.size());
            semaphores_.insert(std::string(record.text()));
        }
    }

    static Bytes bytesOf(const std::int32_t& value) {
        return {reinterpret_cast<const std::uint8_t*>(&value), sizeof value};
    }

    static void put(std::span<std::byte> block, std::size_t at, std::string_view bytes) {
        for (std::size_t i = 0; i < bytes.size() && at + i < block.size(); ++i)
            block[at + i] = static_cast<std::byte>(bytes[i]);
    }

    void use(QueueBlock& block) {
        const std::int32_t slot = block.slot(slots_[data_.below(slots_.size())]);
        if (slot < 0) return;
        std::optional<QueueBlock::Hold> hold;
        block.hold(slot, nullptr, hold);
        if (!hold) return;
        if (const SharedRecord* value = block.value(slot)) static_cast<void>(value->text().size());
        if (data_.below(2) == 0) {
            block.replace(slot, data_.raw<SharedRecord>());
            static_cast<void>(block.value(slot));
        }
    }

    void useFromScript() {
        const QueueVariableId id = script_->refer(queue_, prefix_ + (data_.below(2) == 0 ? "a" : "list"));
        const auto element = static_cast<std::int64_t>(data_.below(5));
        ValueCell value;
        switch (data_.below(5)) {
            case 0:
                require(script_->lookUpElements(id) <= 4096, "a queue has so many variables");
                break;
            case 1:
                script_->write(id, element, ValueCell::ofNumber(data_.number()));
                break;
            case 2: {
                const std::string text = data_.text();
                script_->write(id, element, ValueCell::ofText(text.c_str()));
                break;
            }
            case 3:
                static_cast<void>(script_->writeIfStill(id, element, ValueCell::ofNil(),
                                                        ValueCell::ofInteger(data_.byte())));
                break;
            default:
                if (script_->read(id, element, value)) ctx_.stack.push(value);
                ctx_.stack.dropTo(0);
                break;
        }
    }

    static constexpr std::int32_t kSlotState = 100;

    Taken& data_;
    EngineContext& ctx_;
    std::string queue_;
    std::string prefix_;
    std::vector<std::string> slots_;
    std::set<std::string> semaphores_;
    std::unique_ptr<QueueBlock> owner_;
    std::optional<platform::NamedMemory> memory_;
    Queues queues_;
    std::unique_ptr<ScriptQueues> script_;
};

}  // namespace

void queueBlocks(Bytes bytes) {
    Taken data(bytes);
    ConfinedScript script;
    script.ctx.reset();
    const TimeBudget budget(script.watch, 500);
    {
        Exchange exchange(data, script.ctx);
        while (!data.empty()) exchange.step();
    }
    script.unload();
}

}  // namespace kestrel::fuzz
