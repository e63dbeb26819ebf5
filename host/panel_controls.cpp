// The built-ins that add a control to a panel.
#include "host/host_builtins.h"
#include "host/panel_arguments.h"
#include "host/panel_builtins.h"
#include "host/panel_values.h"

#include <memory>
#include <string>
#include <vector>

namespace kestrel {

namespace {

constexpr int kLabel = 0;
constexpr int kValue = 1;
constexpr int kChoices = 2;
constexpr int kFlag = 3;

/// One call that adds a control. Each step says whether to go on; otherwise the call has failed.
class NewControl {
public:
    NewControl(BuiltinCall& call, const ControlKind& kind)
        : call_(call), kind_(kind), args_(call), class_(kind.controlClass) {
        descriptor_.itemType = kind.itemType;
    }

    /// Reads the arguments as the kind says.
    [[nodiscard]] bool read() {
        switch (kind_.arguments) {
            case ControlArguments::Value:
                return readValueOrThree();
            case ControlArguments::Distance:
                class_ = args_.count() == 2 && args_[kValue].isNumeric() ? &kFloatClass : &kVectorClass;
                return readValueOrThree();
            case ControlArguments::Choice:
                return counted(3, 4) && label() && number(kValue) && readInitial() && choices() && flag();
            case ControlArguments::Popup:
                return counted(3, 3) && label() && number(kValue) && readInitial() && choices();
            case ControlArguments::Slider:
                return counted(4, 4) && label() && number(kValue) && readInitial() && readRange();
            case ControlArguments::Items:
                return counted(1, 2) && label() && (args_.count() == 1 || readInitial());
            case ControlArguments::Separator:
                return readSeparator();
            case ControlArguments::Lines:
                return readLines();
            case ControlArguments::Added:
                return readAdded();
        }
        return false;
    }

    /// Adds it, and ends the call with its number.
    void add(Requester& requester, RequesterPanel& panel) {
        HostPanel& host = *panel.host;
        std::vector<const char*> choices;
        for (const std::string& choice : choices_) choices.push_back(choice.c_str());
        choices.push_back(nullptr);
        descriptor_.width = kind_.width;
        descriptor_.integerComponents = class_->value == ValueForm::WholeVector ? 1 : 0;
        descriptor_.choices = hasChoices_ ? choices.data() : nullptr;
        entry_.value = class_->value;
        entry_.shift = kind_.shift;
        entry_.itemType = kind_.itemType;
        entry_.handle = host.add(class_->name, descriptor_, label_.c_str());
        if (entry_.handle == nullptr) return call_.result(ValueCell::ofNil());
        if (initial_.value.type != HXCV_NONE) host.setValue(entry_.handle, initial_.value);
        entry_.labelWidth = host.get(entry_.handle, HXCA_LABEL_WIDTH);
        call_.resultInteger(static_cast<double>(requester.enter(panel, entry_)));
    }

private:
    bool failCount() {
        call_.fail(MessageId::ArgumentCount, kind_.calledAs());
        return false;
    }
    bool failType(int argument) {
        call_.fail(MessageId::ArgumentType, argument + 1, kind_.calledAs());
        return false;
    }
    bool counted(int least, int most) {
        return (args_.count() >= least && args_.count() <= most) || failCount();
    }
    bool number(int argument) { return args_[argument].isNumeric() || failType(argument); }
    bool label() {
        if (!args_[kLabel].isText()) return failType(kLabel);
        label_ = textOf(args_[kLabel]);
        return true;
    }

    bool readInitial() {
        if (class_->value == ValueForm::Item) return readItem();
        return givenValue(call_.ctx, args_[kValue], class_->value, initial_) || failType(kValue);
    }

    bool readItem() {
        const ValueCell& item = args_[kValue];
        switch (givenItem(call_.ctx, item, kind_.itemType, initial_)) {
            case ItemFound::Yes:
                return true;
            case ItemFound::NoSuchName:
                call_.fail(MessageId::ItemNotFound, textOf(item), call_.name);
                return false;
            case ItemFound::WrongType:
                call_.fail(MessageId::InitialItemType, call_.name);
                return false;
            case ItemFound::RunEnds:
                call_.result(ValueCell::ofNil());
                return false;
        }
        return false;
    }

    bool readValueOrThree() {
        const bool vector = class_->value == ValueForm::Vector || class_->value == ValueForm::WholeVector;
        if (!vector) return counted(2, 2) && label() && ofForm() && readInitial();
        if (args_.count() != 2 && args_.count() != 4) return failCount();
        if (!label()) return false;
        if (args_.count() == 4) return readThree();
        const auto several = args_.items(kValue);
        return several && !args_.isArray(kValue) ? readThree(*several) : readInitial();
    }

    /// Texts are not made of other values here, unlike in setvalue().
    bool ofForm() { return class_->value != ValueForm::Text || args_[kValue].isText() || failType(kValue); }

    bool readThree() {
        for (int i = 0; i < 3; ++i)
            if (!number(kValue + i)) return false;
        return initialOf(args_[kValue], args_[kValue + 1], args_[kValue + 2]);
    }

    bool readThree(const std::vector<const ValueCell*>& numbers) {
        if (numbers.size() != 3) return failType(kValue);
        for (const ValueCell* number : numbers)
            if (!number->isNumeric()) return failType(kValue);
        return initialOf(*numbers[0], *numbers[1], *numbers[2]);
    }

    /// The initial value of three numbers.
    bool initialOf(const ValueCell& x, const ValueCell& y, const ValueCell& z) {
        const VectorValue vector{x.number, y.number, z.number};
        return givenValue(call_.ctx, ValueCell::ofVector(vector), class_->value, initial_);
    }

    bool readRange() {
        if (!number(2) || !number(3)) return false;
        descriptor_.minimum = wholeNumber(args_[2]);
        descriptor_.maximum = wholeNumber(args_[3]);
        return true;
    }

    bool choices() {
        const auto items = args_.items(kChoices);
        if (!items) return failType(kChoices);
        hasChoices_ = true;
        // Meant: only these end at the first element that is not set; an empty text is a choice.
        const bool mayEnd = kind_.arguments == ControlArguments::Added && args_.isArray(kChoices);
        for (const ValueCell* item : *items) {
            if (mayEnd && (item->type == Nil || item->type == Uninitialized)) break;
            if (!item->isText()) {
                call_.fail(MessageId::ChoiceType, choices_.size() + 1, kind_.calledAs());
                return false;
            }
            choices_.emplace_back(textOf(*item));
        }
        return true;
    }

    bool flag() {
        if (args_.count() <= kFlag || args_[kFlag].type == Nil) return true;
        if (!number(kFlag)) return false;
        descriptor_.flag = args_[kFlag].number != 0.0 ? 1 : 0;
        return true;
    }

    bool readSeparator() {
        if (args_.count() != 0 && args_.count() != 2) return failCount();
        entry_.separator = true;
        label_ = initial_.text = "-";
        initial_.value.type = HXCV_TEXT;
        initial_.value.text = initial_.text.c_str();
        if (args_.count() == 0) return true;
        if (!number(0) || !number(1)) return false;
        entry_.lineStart = wholeNumber(args_[0]);
        entry_.lineWidth = wholeNumber(args_[1]);
        return true;
    }

    bool readLines() {
        if (args_.count() < 2) return failCount();
        if (!label()) return false;
        hasChoices_ = true;
        for (int i = kValue; i < args_.count(); ++i) {
            if (!args_[i].isText()) return failType(i);
            choices_.emplace_back(textOf(args_[i]));
        }
        return true;
    }

    bool readAdded() {
        if (!counted(2, 4) || !label()) return false;
        const bool withChoices = args_.count() > kChoices && (args_[kChoices].type != Nil || isList());
        if (class_ == nullptr) class_ = withChoices ? &kChoiceClass : classOf(args_[kValue]);
        if (class_ == nullptr) return failType(kValue);
        return ofForm() && readInitial() && (!withChoices || choices()) && flag();
    }
    [[nodiscard]] bool isList() const { return args_.items(kChoices).has_value(); }

    static const ControlClass* classOf(const ValueCell& value) noexcept {
        if (value.isText()) return &kEditClass;
        if (value.type == Integer) return &kNumClass;
        if (value.type == Number) return &kFloatClass;
        return value.type == Vector ? &kVectorClass : nullptr;
    }

    BuiltinCall& call_;
    const ControlKind& kind_;
    PanelArguments args_;
    const ControlClass* class_;
    HxControlDescriptor descriptor_{};
    std::string label_;
    GivenValue initial_;
    bool hasChoices_ = false;
    std::vector<std::string> choices_;
    PanelControl entry_;
};

}  // namespace

void controlBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr) return;
    NewControl control(call, controlKind(call.name));
    if (control.read()) control.add(requesterOf(call.ctx), *panel);
}

}  // namespace kestrel
