// What a kind above the engine gets from its rows alone, with a kind made up here.
#include "engine/context/kind_table.h"

#include "engine/operations/members.h"
#include "engine/test_support.h"

#include <string_view>

namespace kestrel::test {

namespace {

struct Lamp {
    double brightness = 0.5;
    double color[2] = {1.0, 2.0};
    bool broken = false;
};

Lamp& lampOf(const MemberAccess& access) {
    return *static_cast<Lamp*>(access.object->object);
}

bool readBrightness(EngineContext&, const MemberAccess& access, const MemberRow&, ValueCell& out) {
    out = ValueCell::ofNumber(lampOf(access).brightness);
    return true;
}

bool writeBrightness(EngineContext& ctx, const MemberAccess& access, const MemberRow&, const ValueCell& value,
                     int op, ValueCell& out) {
    double& brightness = lampOf(access).brightness;
    const MemberUpdate update = updateNumberMember(ctx, brightness, value.number, op);
    brightness = update.value;
    return update.leave(out);
}

bool readColor(EngineContext&, const MemberAccess& access, const MemberRow&, ValueCell& out) {
    out = ValueCell::ofNumber(lampOf(access).color[access.index - 1]);
    return true;
}

void sum(MethodCall& call) {
    call.resultNumber(call.arg(0).number + static_cast<double>(call.row.detail));
}

constexpr MemberRow kMembers[] = {
    {"brightness", MemberType::Number, 1, readBrightness, writeBrightness, 0, ""},
    {"color", MemberType::Number, 2, readColor, nullptr, 0, ""},
};
constexpr MethodRow kMethods[] = {{"sum", sum, {1, 2}, 40, "", ""}};
constexpr KindWording kWording = {
    .unknownMethod = MessageId::UnknownSampleMethod,
    .argumentCount = MessageId::ValueMethodCount,
    .unknownMemberRead = MessageId::UnknownSampleMember,
    .unknownMemberWrite = MessageId::AssignedSampleMember,
    .pieceOfName = MessageId::PartOfSampleMember,
    .readOnly = MessageId::SampleReadOnly,
    .memberIndex = MessageId::SampleIndexRange,
};

class LampKind final : public ObjectKind {
public:
    static constexpr std::int32_t kTags[] = {LightObj};
    LampKind() : ObjectKind(ObjectInterface("lamp", kMembers, kMethods, kWording)) {}

protected:
    void runMethod(EngineContext& ctx, const CodeNode& call, Variable& object,
                   const MethodRow& row) override {
        if (!static_cast<Lamp*>(object.object)->broken) return ObjectKind::runMethod(ctx, call, object, row);
        ctx.stack.drop(call.argc);
        ctx.stack.push(ValueCell::ofNil());
    }
};

}  // namespace

class Kinds : public EngineTest {
protected:
    Kinds() {
        addKind(lamps_);
        lamp_.type = LightObj;
        lamp_.name = "l";
        lamp_.object = &object_;
    }

    /// Reads `l.name`, or `l.name[index]`; shows the messages and the value.
    std::string read(const char* name, double index = 0) {
        const ValueCell cells[] = {ValueCell::ofMark(DimMark), ValueCell::ofMark(SepMark), N(index)};
        const bool indexed = index != 0;
        const Place place =
            placeOf(memberNode(name), indexed ? Place::Kind::IndexedMember : Place::Kind::Member,
                    indexed ? lastIndexList(cells) : IndexList{});
        ValueCell value;
        if (readMember(ctx, place, value)) push(value);
        return takeMessages() + popAll();
    }
    std::string write(const char* name, const ValueCell& value, int op = OP_ASSIGN) {
        ValueCell left;
        if (writeMember(ctx, placeOf(memberNode(name), Place::Kind::Member), value, op, left)) push(left);
        return takeMessages() + popAll();
    }
    std::string call(const char* name, const Cells& args) {
        CodeNode& node = emit(OP_CALL, &variable(name));
        node.name = ctx.kinds().names().find(name);
        node.argc = static_cast<int>(args.size());
        for (const ValueCell& cell : args) push(cell);
        callMethod(ctx, node, lamp_);
        return takeMessages() + popAll();
    }

    Lamp object_;

private:
    CodeNode& memberNode(const char* name) {
        CodeNode& node = emit(OP_VAR, &variable(name));
        node.name = ctx.kinds().names().find(name);
        node.to.object = &lamp_;
        return node;
    }

    LampKind lamps_;
    Variable lamp_;
};

TEST_F(Kinds, RowsAndWordingSayWhatAnAccessDoes) {
    EXPECT_EQ(read("brightness"), "0.5");
    EXPECT_EQ(read("color", 2), "2");
    EXPECT_EQ(read("color", 3), "Line 1, illegal index value: color[3]\nnil");
    EXPECT_EQ(read("color"), "Line 1, illegal index value: color[-1]\nnil");
    EXPECT_EQ(read("bright"), "Line 1, unknown Shader data member specified: bright\nnil");
    EXPECT_EQ(read("s|c"),
              "Line 1, unknown Shader data member specified: s|c\nnil");  // anywhere in the list of names
    EXPECT_EQ(read("shade"), "Line 1, unknown ShaderObj data member: ::l.shade\n");
    EXPECT_EQ(write("brightness", N(2)), "");
    EXPECT_EQ(write("brightness", I(1), OP_POSTINC), "2");
    EXPECT_EQ(object_.brightness, 3.0);
    EXPECT_EQ(write("color", N(2)), "Line 1, illegal assignment to read-only Shader data member: color\n");
    EXPECT_EQ(write("bright", N(2)), "Line 1, unknown Shader data member specified: bright\n");
    EXPECT_EQ(write("shade", N(2)), "Line 1, unknown ShaderObject data member: ::l.shade\n");
}

TEST_F(Kinds, MethodsCountTheirArgumentsAfterTheHook) {
    EXPECT_EQ(call("sum", {N(2)}), "42");
    EXPECT_EQ(call("sum", {}), "Line 1, invalid argument count to (KestrelObject)l.sum()\nnil");
    EXPECT_EQ(call("total", {N(1), N(2)}), "Line 1, unknown object method: (ShaderObj)::l.total()\n");
    object_.broken = true;
    EXPECT_EQ(call("sum", {}), "nil");
}

TEST_F(Kinds, ValuesWithoutAKindHaveWhatEveryValueHas) {
    EXPECT_EQ(&ctx.kinds().of(CameraObj), &ctx.kinds().of(Number));
    EXPECT_EQ(&ctx.kinds().of(VarRef), &ctx.kinds().of(Number));  // beyond the table
    EXPECT_NE(&ctx.kinds().of(LightObj), &ctx.kinds().of(Number));
}

TEST(NameTable, GoesOnFromItsBase) {
    NameTable base;
    EXPECT_EQ(base.intern("a"), 0);
    NameTable names(&base);
    EXPECT_EQ(names.intern("b"), 1);
    EXPECT_EQ(names.intern("a"), 0);
    EXPECT_EQ(names.find("c"), kNoName);
    EXPECT_EQ(base.find("b"), kNoName);
}

}  // namespace kestrel::test
