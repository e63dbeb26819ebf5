#include "host/requester.h"

#include <algorithm>
#include <utility>

namespace kestrel {

bool Requester::begin(const std::string& title, const void* owner) {
    panel_.reset();
    auto panel = std::make_shared<RequesterPanel>();
    panel->owner = owner;
    panel->host = HostPanel::create(find_, title.c_str());
    if (panel->host == nullptr) return false;
    panel_ = std::move(panel);
    if (whenBegun) whenBegun();
    return true;
}

std::int64_t Requester::enter(RequesterPanel& panel, PanelControl control) {
    control.number = ++lastNumber_;
    panel.widestLabel = std::max(panel.widestLabel, control.labelWidth);
    panel.controls.push_back(control);
    return control.number;
}

}  // namespace kestrel
