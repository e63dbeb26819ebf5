// What native code returns: records with any types, texts without their ends, blocks of any size.
#include "agents/exchange.h"
#include "engine/operations/arrays.h"
#include "fuzz/cells.h"
#include "fuzz/confined_script.h"
#include "fuzz/sandbox.h"
#include "fuzz/taken.h"

#include <cstring>
#include <memory>

namespace kestrel::fuzz {

namespace {

/// A library that follows the rules where Kestrel cannot tell, and breaks those that it can.
class Library {
public:
    Library(Taken& data, const KestrelServices* services) : data_(data), services_(services) {}

    /// Looks at all that it was given.
    static void look(const KestrelCall& call) {
        require(call.arguments[call.argument_count].type == KESTREL_END,
                "the end stands behind the arguments");
        for (const KestrelRecord* record = call.arguments; record->type != KESTREL_END; ++record)
            lookAt(*record);
    }

    const KestrelRecord* results() {
        const std::size_t count = data_.rarely(16) ? 60 + data_.below(12) : data_.below(6);
        const std::size_t size = (count + 1) * sizeof(KestrelRecord);
        switch (data_.below(6)) {
            case 0:
                return nullptr;
            case 1:
            case 2: {
                // Of a block of theirs Kestrel knows the size, so the end may be missing, or half a record
                // stand there.
                const std::size_t bytes = size - data_.below(2 * sizeof(KestrelRecord));
                auto* block = static_cast<KestrelRecord*>(services_->allocate(services_, bytes));
                if (block == nullptr) return nullptr;
                std::memset(static_cast<void*>(block), 0, bytes);
                for (std::size_t i = 0; (i + 1) * sizeof(KestrelRecord) <= bytes && i < count; ++i)
                    block[i] = record(reinterpret_cast<const char*>(block));
                return block;
            }
            case 3: {
                // In the middle of such a block: then it is as any other memory.
                auto* block =
                    static_cast<KestrelRecord*>(services_->allocate(services_, size + sizeof(KestrelRecord)));
                if (block == nullptr) return nullptr;
                fill(block + 1, count);
                return block + 1;
            }
            default: {
                auto& own = own_.emplace_back(std::make_unique<KestrelRecord[]>(count + 1));
                fill(own.get(), count);
                return own.get();
            }
        }
    }

    void useServices() {
        switch (data_.below(8)) {
            case 0:
                services_->release(services_, this);
                break;
            case 1: {
                char* block = services_->duplicate(services_, data_.text().c_str());
                services_->release(services_, block);
                services_->release(services_, block);
                break;
            }
            case 2:
                services_->info(services_, data_.text().c_str());
                break;
            case 3:
                services_->error(services_, data_.rarely(2) ? nullptr : data_.text().c_str());
                break;
            default:
                break;
        }
    }

private:
    static void lookAt(const KestrelRecord& record) {
        if (record.type == KESTREL_STRING) static_cast<void>(std::strlen(record.value.text));
        if (record.type == KESTREL_FILE)
            static_cast<void>(std::strlen(record.value.file.name) + std::strlen(record.value.file.mode));
        if (record.type != KESTREL_ARRAY) return;
        require(record.value.elements[record.count].type == KESTREL_END,
                "the end stands behind the elements");
        for (std::int32_t i = 0; i < record.count; ++i) lookAt(record.value.elements[i]);
    }

    void fill(KestrelRecord* records, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            records[i] = record(nullptr);
            if (records[i].type == KESTREL_END) records[i].type = KESTREL_NIL;
        }
        records[count] = kestrel_record(KESTREL_END);
    }

    KestrelRecord record(const char* block) {
        static constexpr std::int32_t kTypes[] = {KESTREL_INTEGER, KESTREL_NUMBER, KESTREL_STRING,
                                                  KESTREL_STRING,  KESTREL_VECTOR, KESTREL_FILE,
                                                  KESTREL_ARRAY,   KESTREL_NIL};
        KestrelRecord made =
            kestrel_record(data_.rarely(16) ? data_.raw<std::int32_t>() : kTypes[data_.below(8)]);
        made.count = data_.byte();
        if (made.type == KESTREL_STRING) {
            made.value.text = text(block);
        } else if (made.type == KESTREL_FILE) {
            // Names of files that the sandbox has not: those that it could open are the fuzzer's to choose.
            static constexpr const char* kNames[] = {"kept.txt", "missing/file", "", nullptr};
            made.value.file.name = kNames[data_.below(4)];
            made.value.file.mode = data_.rarely(2) ? nullptr : text(nullptr);
            made.value.file.file = data_.rarely(4) ? &own_ : nullptr;
        } else {
            for (double& number : made.value.vector) number = data_.number();
        }
        return made;
    }

    const char* text(const char* block) {
        const std::string bytes = data_.text();
        switch (data_.below(5)) {
            case 0:
                return nullptr;
            case 1:
                return services_->duplicate(services_, bytes.c_str());
            case 2: {  // without an end
                if (bytes.empty()) return nullptr;
                auto* made = static_cast<char*>(services_->allocate(services_, bytes.size()));
                if (made != nullptr) bytes.copy(made, bytes.size());
                return made;
            }
            case 3:
                if (block != nullptr) return block;
                [[fallthrough]];
            default:
                texts_.push_back(std::make_unique<std::string>(bytes));
                return texts_.back()->c_str();
        }
    }

    Taken& data_;
    const KestrelServices* services_;
    std::vector<std::unique_ptr<KestrelRecord[]>> own_;
    std::vector<std::unique_ptr<std::string>> texts_;
};

}  // namespace

void exchangeRecords(Bytes bytes) {
    Sandbox::get().clear();
    Taken data(bytes);
    ConfinedScript script;
    EngineContext& ctx = script.ctx;
    ctx.reset();
    {
        agents::Exchange exchange(ctx);
        Library library(data, exchange.services.table());
        for (int left = 12; left > 0 && !data.empty(); --left) {
            CodeNode node;
            node.argc = static_cast<std::int32_t>(data.below(4));
            for (int i = 0; i < node.argc; ++i) pushValue(ctx, data);
            BuiltinCall call(ctx, node, "native");
            exchange.begin();
            if (!exchange.addAll(call)) break;
            KestrelCall native{};
            exchange.end(native);
            Library::look(native);
            library.useServices();
            if (data.rarely(3)) {
                if (const std::optional<ValueCell> cell = exchange.single(library.results()))
                    ctx.stack.push(*cell);
            } else {
                exchange.finish(call, library.results());
            }
            ctx.stack.dropTo(0);
        }
    }
    script.unload();
}

}  // namespace kestrel::fuzz
