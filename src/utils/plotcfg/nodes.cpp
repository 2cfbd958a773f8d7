// The node classes of a printer configuration: one per block, each reading its
// block into a fresh node (so a failure leaves the caller's node as it was) and
// writing its keys in their fixed order.
#include <cmath>
#include <cwchar>
#include <string>

#include "plotcfg/cfgschema.h"

using plotcfg::BlockReader;
using plotcfg::BlockWriter;
using plotcfg::joinPath;
using plotcfg::SchemaError;

namespace {

const wchar_t* const kQualityNames[] = {L"DMRES_DRAFT", L"DMRES_LOW", L"DMRES_MEDIUM", L"DMRES_HIGH"};

// Public init/write: the block's own name is the path in messages.
template <class Node> bool initNode(Node& node, const CPBlock* block) {
    if (!block)
        return false;
    SchemaError err;
    return plotcfg::readNode(node, block, block->name().str(), err);
}

template <class Node> bool writeNodeTo(const Node& node, CPBlock* block) {
    if (!block)
        return false;
    SchemaError err;
    return plotcfg::writeNode(node, block, block->name().str(), err);
}

} // namespace

namespace plotcfg {

// ------------------------------------------------------------------ meta

bool readNode(CMetaNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err) {
    CMetaNode n;
    BlockReader r(block, path, err);
    const bool ok = r.str(L"user_defined_model_pathname", n.userDefinedModelPathname) &&
                    r.str(L"user_defined_model_basename", n.userDefinedModelBasename) &&
                    r.str(L"driver_pathname", n.driverPathname) && r.str(L"driver_version", n.driverVersion) &&
                    r.str(L"driver_tag_line", n.driverTagLine) && r.integer(L"toolkit_version", n.toolkitVersion) &&
                    r.integer(L"driver_type", n.driverType) &&
                    r.str(L"canonical_family_name", n.canonicalFamilyName) &&
                    r.boolean(L"show_custom_first", n.showCustomFirst) &&
                    r.boolean(L"truetype_as_text", n.truetypeAsText) &&
                    r.str(L"canonical_model_name", n.canonicalModelName) &&
                    r.str(L"localized_family_name", n.localizedFamilyName) &&
                    r.str(L"localized_model_name", n.localizedModelName) && r.boolean(L"file_only", n.fileOnly) &&
                    r.str(L"model_abilities", n.modelAbilities) && r.str(L"udm_description", n.udmDescription) &&
                    r.str(L"win_device_name", n.winDeviceName) && r.str(L"win_driver_name", n.winDriverName) &&
                    r.str(L"short_net_name", n.shortNetName) && r.str(L"friendly_net_name", n.friendlyNetName) &&
                    r.integer(L"dm_driver_version", n.dmDriverVersion) &&
                    r.optBool(L"default_system_cfg", n.defaultSystemCfg) && r.str(L"platform", n.platform) &&
                    r.str(L"locale", n.locale) && r.str(L"config_description", n.configDescription) &&
                    r.optBool(L"config_autospool", n.configAutospool);
    if (!ok)
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

bool writeNode(const CMetaNode& n, CPBlock* block, const std::wstring& path, SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok =
        w.str(L"user_defined_model_pathname", n.userDefinedModelPathname) &&
        w.str(L"user_defined_model_basename", n.userDefinedModelBasename) &&
        w.str(L"driver_pathname", n.driverPathname) && w.str(L"driver_version", n.driverVersion) &&
        w.str(L"driver_tag_line", n.driverTagLine) && w.integer(L"toolkit_version", n.toolkitVersion) &&
        w.integer(L"driver_type", n.driverType) && w.str(L"canonical_family_name", n.canonicalFamilyName) &&
        w.boolean(L"show_custom_first", n.showCustomFirst) && w.boolean(L"truetype_as_text", n.truetypeAsText) &&
        w.str(L"canonical_model_name", n.canonicalModelName) &&
        w.str(L"localized_family_name", n.localizedFamilyName) &&
        w.str(L"localized_model_name", n.localizedModelName) && w.boolean(L"file_only", n.fileOnly) &&
        w.str(L"model_abilities", n.modelAbilities) && w.str(L"udm_description", n.udmDescription) &&
        (n.winDeviceName.isEmpty() || w.str(L"win_device_name", n.winDeviceName)) &&
        (n.winDriverName.isEmpty() || w.str(L"win_driver_name", n.winDriverName)) &&
        w.str(L"short_net_name", n.shortNetName) && w.str(L"friendly_net_name", n.friendlyNetName) &&
        (n.dmDriverVersion == 0 || w.integer(L"dm_driver_version", n.dmDriverVersion)) &&
        (!n.defaultSystemCfg || w.boolean(L"default_system_cfg", *n.defaultSystemCfg)) &&
        (n.platform.isEmpty() || w.str(L"platform", n.platform)) &&
        (n.locale.isEmpty() || w.str(L"locale", n.locale)) &&
        (n.configDescription.isEmpty() || w.str(L"config_description", n.configDescription)) &&
        (!n.configAutospool || w.boolean(L"config_autospool", *n.configAutospool));
    if (ok)
        w.finish();
    return ok;
}

// ------------------------------------------------------------------ media and its blocks

static bool readMediaBounds(CMediaBoundsNode& node, const CPBlock* block, const std::wstring& path,
                            SchemaError& err) {
    CMediaBoundsNode n;
    BlockReader r(block, path, err);
    if (!(r.real(L"urx", n.urx, true) && r.real(L"ury", n.ury, true)))
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

static bool writeMediaBounds(const CMediaBoundsNode& n, CPBlock* block, const std::wstring& path,
                             SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok = w.real(L"urx", n.urx) && w.real(L"ury", n.ury);
    if (ok)
        w.finish();
    return ok;
}

static bool readMediaDescription(CMediaDescriptionNode& node, const CPBlock* block, const std::wstring& path,
                                 SchemaError& err) {
    CMediaDescriptionNode n;
    BlockReader r(block, path, err);
    const CPBlock* bounds = nullptr;
    const bool ok = r.real(L"printable_bounds_llx", n.printableBoundsLlx) &&
                    r.real(L"printable_bounds_lly", n.printableBoundsLly) &&
                    r.real(L"printable_bounds_urx", n.printableBoundsUrx) &&
                    r.real(L"printable_bounds_ury", n.printableBoundsUry) &&
                    r.real(L"printable_area", n.printableArea) && r.boolean(L"dimensional", n.dimensional) &&
                    (bounds = r.sub(L"media_bounds", true)) != nullptr &&
                    readMediaBounds(n.mediaBounds, bounds, joinPath(path, L"media_bounds"), err);
    if (!ok)
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

static bool writeMediaDescription(const CMediaDescriptionNode& n, CPBlock* block, const std::wstring& path,
                                  SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok = w.real(L"printable_bounds_llx", n.printableBoundsLlx) &&
                    w.real(L"printable_bounds_lly", n.printableBoundsLly) &&
                    w.real(L"printable_bounds_urx", n.printableBoundsUrx) &&
                    w.real(L"printable_bounds_ury", n.printableBoundsUry) &&
                    w.real(L"printable_area", n.printableArea) && w.boolean(L"dimensional", n.dimensional) &&
                    w.sub(L"media_bounds", [&](CPBlock* b, const std::wstring& p) {
                        return writeMediaBounds(n.mediaBounds, b, p, err);
                    });
    if (ok)
        w.finish();
    return ok;
}

static bool readSize(CSizeNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err) {
    CSizeNode n;
    BlockReader r(block, path, err);
    const CPBlock* description = nullptr;
    const bool ok = r.str(L"name", n.name, true) && r.integer(L"group", n.group) &&
                    r.boolean(L"landscape_mode", n.landscapeMode) &&
                    r.real(L"longplot_reduction", n.longplotReduction) && r.integer(L"dm_scale", n.dmScale) &&
                    (description = r.sub(L"media_description", true)) != nullptr &&
                    readMediaDescription(n.mediaDescription, description, joinPath(path, L"media_description"), err);
    if (!ok)
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

static bool writeSize(const CSizeNode& n, CPBlock* block, const std::wstring& path, SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok = w.str(L"name", n.name) && w.integer(L"group", n.group) &&
                    w.boolean(L"landscape_mode", n.landscapeMode) &&
                    w.real(L"longplot_reduction", n.longplotReduction) &&
                    (n.dmScale == 100 || w.integer(L"dm_scale", n.dmScale)) &&
                    w.sub(L"media_description", [&](CPBlock* b, const std::wstring& p) {
                        return writeMediaDescription(n.mediaDescription, b, p, err);
                    });
    if (ok)
        w.finish();
    return ok;
}

static bool readDestination(CDestinationNode& node, const CPBlock* block, const std::wstring& path,
                            SchemaError& err) {
    CDestinationNode n;
    BlockReader r(block, path, err);
    const bool ok = r.str(L"name", n.name) && r.integer(L"collating_type", n.collatingType) &&
                    r.str(L"collating_name", n.collatingName);
    if (!ok)
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

static bool writeDestination(const CDestinationNode& n, CPBlock* block, const std::wstring& path,
                             SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok = w.str(L"name", n.name) && w.integer(L"collating_type", n.collatingType) &&
                    w.str(L"collating_name", n.collatingName);
    if (ok)
        w.finish();
    return ok;
}

static bool readCustomPapers(CustomPapersNode& node, const CPBlock* block, const std::wstring& path,
                             SchemaError& err) {
    CustomPapersNode n;
    BlockReader r(block, path, err);
    // Sub-blocks are taken in file order whatever their names: the list order is
    // what counts, and writing renumbers them from 0.
    for (const CPItem* item : block->items()) {
        if (item->kind() != kPBlock)
            continue;
        if (n.papers.size() >= CustomPapersNode::kMaxPapers)
            return r.fail(L"block", item->name().c_str(),
                          L"is one paper more than the " + std::to_wstring(CustomPapersNode::kMaxPapers) +
                              L" allowed");
        CustomPapersNode::PaperSize p;
        BlockReader pr(static_cast<const CPBlock*>(item), joinPath(path, item->name()), err);
        const bool ok = pr.str(L"global_name", p.globalName, true) && pr.str(L"local_name", p.localName) &&
                        pr.integer(L"units", p.units) && pr.real(L"width", p.width, true) &&
                        pr.real(L"height", p.height, true) && pr.real(L"left", p.left) &&
                        pr.real(L"bottom", p.bottom) && pr.real(L"right", p.right) && pr.real(L"top", p.top);
        if (!ok)
            return false;
        n.papers.append(p);
    }
    node = std::move(n);
    return true;
}

static bool writeCustomPapers(const CustomPapersNode& n, CPBlock* block, const std::wstring& path,
                              SchemaError& err) {
    BlockWriter w(block, nullptr, path, err);
    for (unsigned i = 0; i < n.papers.size(); ++i) {
        const auto& p = n.papers[i];
        const std::wstring key = std::to_wstring(i);
        const bool ok = w.sub(key.c_str(), [&](CPBlock* b, const std::wstring& subPath) {
            BlockWriter pw(b, nullptr, subPath, err);
            return pw.str(L"global_name", p.globalName) && pw.str(L"local_name", p.localName) &&
                   pw.integer(L"units", p.units) && pw.real(L"width", p.width) && pw.real(L"height", p.height) &&
                   pw.real(L"left", p.left) && pw.real(L"bottom", p.bottom) && pw.real(L"right", p.right) &&
                   pw.real(L"top", p.top);
        });
        if (!ok)
            return false;
    }
    return true;
}

bool readNode(CMediaNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err) {
    CMediaNode n;
    BlockReader r(block, path, err);
    const CPBlock* size = nullptr;
    bool ok = r.integer(L"selection_method", n.selectionMethod) && r.str(L"type", n.type) &&
              r.integer(L"dm_orientation", n.dmOrientation) &&
              r.real(L"actual_printable_bounds_llx", n.actualPrintableBoundsLlx) &&
              r.real(L"actual_printable_bounds_lly", n.actualPrintableBoundsLly) &&
              r.real(L"actual_printable_bounds_urx", n.actualPrintableBoundsUrx) &&
              r.real(L"actual_printable_bounds_ury", n.actualPrintableBoundsUry) &&
              r.integer(L"number_of_copies", n.numberOfCopies) && (size = r.sub(L"size", true)) != nullptr &&
              readSize(n.size, size, joinPath(path, L"size"), err);
    if (!ok)
        return false;
    if (const CPBlock* d = r.sub(L"destination", false)) {
        CDestinationNode dest;
        if (!readDestination(dest, d, joinPath(path, L"destination"), err))
            return false;
        n.destination = std::move(dest);
    }
    if (const CPBlock* c = r.sub(L"custom_papers", false)) {
        CustomPapersNode papers;
        if (!readCustomPapers(papers, c, joinPath(path, L"custom_papers"), err))
            return false;
        n.customPapers = std::move(papers);
    }
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

bool writeNode(const CMediaNode& n, CPBlock* block, const std::wstring& path, SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok =
        w.integer(L"selection_method", n.selectionMethod) && w.str(L"type", n.type) &&
        w.integer(L"dm_orientation", n.dmOrientation) &&
        w.real(L"actual_printable_bounds_llx", n.actualPrintableBoundsLlx) &&
        w.real(L"actual_printable_bounds_lly", n.actualPrintableBoundsLly) &&
        w.real(L"actual_printable_bounds_urx", n.actualPrintableBoundsUrx) &&
        w.real(L"actual_printable_bounds_ury", n.actualPrintableBoundsUry) &&
        w.integer(L"number_of_copies", n.numberOfCopies) &&
        w.sub(L"size", [&](CPBlock* b, const std::wstring& p) { return writeSize(n.size, b, p, err); }) &&
        (!n.destination || w.sub(L"destination", [&](CPBlock* b, const std::wstring& p) {
            return writeDestination(*n.destination, b, p, err);
        })) &&
        (!n.customPapers || w.sub(L"custom_papers", [&](CPBlock* b, const std::wstring& p) {
            return writeCustomPapers(*n.customPapers, b, p, err);
        }));
    if (ok)
        w.finish();
    return ok;
}

// ------------------------------------------------------------------ io

bool readNode(CIoNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err) {
    CIoNode n;
    BlockReader r(block, path, err);
    const bool ok = r.integer(L"type", n.type) && r.str(L"pathname", n.pathname) &&
                    r.boolean(L"allsysvalid", n.allsysvalid) && r.boolean(L"plot_to_file", n.plotToFile);
    if (!ok)
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

bool writeNode(const CIoNode& n, CPBlock* block, const std::wstring& path, SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok = w.integer(L"type", n.type) && w.str(L"pathname", n.pathname) &&
                    w.boolean(L"allsysvalid", n.allsysvalid) && w.boolean(L"plot_to_file", n.plotToFile);
    if (ok)
        w.finish();
    return ok;
}

// ------------------------------------------------------------------ res_color_mem

static bool readResolution(CResolutionNode& node, const CPBlock* block, const std::wstring& path,
                           SchemaError& err) {
    CResolutionNode n;
    BlockReader r(block, path, err);
    const bool ok = r.str(L"name", n.name) && r.real(L"phys_resolution_x", n.physResolutionX) &&
                    r.real(L"phys_resolution_y", n.physResolutionY) &&
                    r.real(L"addr_resolution_x", n.addrResolutionX) &&
                    r.real(L"addr_resolution_y", n.addrResolutionY) &&
                    r.real(L"effective_resolution_x", n.effectiveResolutionX) &&
                    r.real(L"effective_resolution_y", n.effectiveResolutionY);
    if (!ok)
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

static bool writeResolution(const CResolutionNode& n, CPBlock* block, const std::wstring& path,
                            SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok = w.str(L"name", n.name) && w.real(L"phys_resolution_x", n.physResolutionX) &&
                    w.real(L"phys_resolution_y", n.physResolutionY) &&
                    w.real(L"addr_resolution_x", n.addrResolutionX) &&
                    w.real(L"addr_resolution_y", n.addrResolutionY) &&
                    w.real(L"effective_resolution_x", n.effectiveResolutionX) &&
                    w.real(L"effective_resolution_y", n.effectiveResolutionY);
    if (ok)
        w.finish();
    return ok;
}

bool readNode(CResColorMemNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err) {
    CResColorMemNode n;
    BlockReader r(block, path, err);
    const CPBlock* resolution = nullptr;
    const bool ok = r.str(L"name", n.name) && r.integer(L"num_colors", n.numColors) &&
                    r.integer(L"color_depth", n.colorDepth) &&
                    r.integer(L"num_undithered_colors", n.numUnditheredColors) &&
                    r.integer(L"color_system", n.colorSystem) && r.integer(L"dm_color", n.dmColor) &&
                    r.integer(L"icm_method", n.icmMethod) && r.integer(L"icm_intent", n.icmIntent) &&
                    r.uinteger(L"ism_max", n.ismMax) && r.uinteger(L"ole_max", n.oleMax) &&
                    r.integer(L"hard_soft", n.hardSoft) && r.integer(L"preference", n.preference) &&
                    r.optBool(L"lines_overwrite", n.linesOverwrite) && r.optBool(L"color_mono", n.colorMono) &&
                    (resolution = r.sub(L"resolution", true)) != nullptr &&
                    readResolution(n.resolution, resolution, joinPath(path, L"resolution"), err);
    if (!ok)
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

bool writeNode(const CResColorMemNode& n, CPBlock* block, const std::wstring& path, SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok =
        w.str(L"name", n.name) && w.integer(L"num_colors", n.numColors) && w.integer(L"color_depth", n.colorDepth) &&
        w.integer(L"num_undithered_colors", n.numUnditheredColors) && w.integer(L"color_system", n.colorSystem) &&
        w.integer(L"dm_color", n.dmColor) && (n.icmMethod == 0 || w.integer(L"icm_method", n.icmMethod)) &&
        (n.icmIntent == 0 || w.integer(L"icm_intent", n.icmIntent)) &&
        (n.ismMax == CResColorMemNode::kNotSet || w.integer(L"ism_max", int(n.ismMax))) &&
        (n.oleMax == CResColorMemNode::kNotSet || w.integer(L"ole_max", int(n.oleMax))) &&
        (n.hardSoft == 0 || w.integer(L"hard_soft", n.hardSoft)) &&
        (n.preference == 0 || w.integer(L"preference", n.preference)) &&
        (!n.linesOverwrite || w.boolean(L"lines_overwrite", *n.linesOverwrite)) &&
        (!n.colorMono || w.boolean(L"color_mono", *n.colorMono)) &&
        w.sub(L"resolution",
              [&](CPBlock* b, const std::wstring& p) { return writeResolution(n.resolution, b, p, err); });
    if (ok)
        w.finish();
    return ok;
}

// ------------------------------------------------------------------ custom

// A number without a decimal point or exponent (before any suffix after a
// blank) was written from an integer.
static bool looksIntegral(const OdString& text) {
    const std::wstring& s = text.str();
    size_t i = 0;
    while (i < s.size() && s[i] == L' ')
        ++i;
    if (i < s.size() && (s[i] == L'-' || s[i] == L'+'))
        ++i;
    const size_t digits = i;
    while (i < s.size() && s[i] >= L'0' && s[i] <= L'9')
        ++i;
    return i > digits && (i == s.size() || s[i] == L' ');
}

bool readNode(CCustomNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err) {
    CCustomNode n;
    BlockReader r(block, path, err);
    for (const CPItem* item : block->items()) {
        if (item->kind() != kPBlock)
            continue;
        const auto* sub = static_cast<const CPBlock*>(item);
        BlockReader vr(sub, joinPath(path, sub->name()), err);
        OdString name;
        if (!vr.str(L"name", name, true))
            return false;
        const CPItem* value = nullptr;
        for (const CPItem* v : sub->items())
            if (v->kind() != kPBlock && v->name() == L"value") {
                value = v;
                break;
            }
        if (!value)
            return vr.fail(L"key", L"value", L"is missing");
        if (name.isEmpty())
            return vr.fail(L"key", L"name", L"is empty");
        std::wstring why = plotcfg::unstorableText(name);
        if (!why.empty())
            return vr.fail(L"key", L"name", why);
        if (n.count() >= CCustomNode::kMaxValues)
            return r.fail(L"block", sub->name().c_str(),
                          L"is one value more than the " + std::to_wstring(CCustomNode::kMaxValues) + L" allowed");
        // The first value of a name within one kind wins: a repeat could not be
        // written back as a second entry of the same map.
        switch (value->kind()) {
        case kPStr: {
            const OdString& text = static_cast<const CPStr*>(value)->value();
            why = plotcfg::unstorableText(text);
            if (!why.empty())
                return vr.fail(L"key", L"value", why);
            n.setStr(text, name, false);
            break;
        }
        case kPBool: n.set(static_cast<const CPBool*>(value)->value(), name, false); break;
        case kPBin: {
            const OdString& hex = static_cast<const CPBin*>(value)->value();
            if (hex.isEmpty() || !ut::isHexText(hex))
                return vr.fail(L"key", L"value", L"is not hexadecimal text of two digits per byte");
            n.setBin(hex, name, false);
            break;
        }
        case kPNum: {
            const OdString& text = static_cast<const CPNum*>(value)->value();
            if (looksIntegral(text)) {
                int v = 0;
                if (!readInt(sub, L"value", v))
                    return vr.fail(L"key", L"value", L"does not read as a whole number");
                n.set(v, name, false);
            } else {
                double v = 0;
                if (!vr.real(L"value", v))
                    return false;
                n.set(v, name, false);
            }
            break;
        }
        }
    }
    node = std::move(n);
    return true;
}

bool writeNode(const CCustomNode& n, CPBlock* block, const std::wstring& path, SchemaError& err) {
    BlockWriter w(block, nullptr, path, err);
    // One counter across the kinds: sub-block names must be unique in the block.
    unsigned counter = 0;
    auto entry = [&](const OdString& name, const std::function<bool(BlockWriter&)>& value) {
        const std::wstring key = std::to_wstring(counter++);
        return w.sub(key.c_str(), [&](CPBlock* b, const std::wstring& p) {
            BlockWriter vw(b, nullptr, p, err);
            return vw.str(L"name", name) && value(vw);
        });
    };
    for (const auto& kv : n.strings())
        if (!entry(kv.first, [&](BlockWriter& vw) { return vw.str(L"value", kv.second); }))
            return false;
    for (const auto& kv : n.binaries())
        if (!entry(kv.first, [&](BlockWriter& vw) { return vw.bin(L"value", kv.second); }))
            return false;
    for (const auto& kv : n.bools())
        if (!entry(kv.first, [&](BlockWriter& vw) { return vw.boolean(L"value", kv.second); }))
            return false;
    for (const auto& kv : n.reals())
        if (!entry(kv.first, [&](BlockWriter& vw) { return vw.real(L"value", kv.second); }))
            return false;
    for (const auto& kv : n.ints())
        if (!entry(kv.first, [&](BlockWriter& vw) { return vw.integer(L"value", kv.second); }))
            return false;
    return true;
}

} // namespace plotcfg

// ------------------------------------------------------------------ public members

bool CMetaNode::init(const CPBlock* block) { return initNode(*this, block); }
bool CMetaNode::write(CPBlock* block) const { return writeNodeTo(*this, block); }
bool CMediaNode::init(const CPBlock* block) { return initNode(*this, block); }
bool CMediaNode::write(CPBlock* block) const { return writeNodeTo(*this, block); }
bool CIoNode::init(const CPBlock* block) { return initNode(*this, block); }
bool CIoNode::write(CPBlock* block) const { return writeNodeTo(*this, block); }
bool CResColorMemNode::init(const CPBlock* block) { return initNode(*this, block); }
bool CResColorMemNode::write(CPBlock* block) const { return writeNodeTo(*this, block); }
bool CCustomNode::init(const CPBlock* block) { return initNode(*this, block); }
bool CCustomNode::write(CPBlock* block) const { return writeNodeTo(*this, block); }

#define DRUTILS_NODE_WRAPPERS(Class, reader, writer)                                                       \
    bool Class::init(const CPBlock* block) {                                                               \
        if (!block)                                                                                        \
            return false;                                                                                  \
        SchemaError err;                                                                                   \
        return plotcfg::reader(*this, block, block->name().str(), err);                                    \
    }                                                                                                      \
    bool Class::write(CPBlock* block) const {                                                              \
        if (!block)                                                                                        \
            return false;                                                                                  \
        SchemaError err;                                                                                   \
        return plotcfg::writer(*this, block, block->name().str(), err);                                    \
    }

DRUTILS_NODE_WRAPPERS(CMediaBoundsNode, readMediaBounds, writeMediaBounds)
DRUTILS_NODE_WRAPPERS(CMediaDescriptionNode, readMediaDescription, writeMediaDescription)
DRUTILS_NODE_WRAPPERS(CSizeNode, readSize, writeSize)
DRUTILS_NODE_WRAPPERS(CDestinationNode, readDestination, writeDestination)
DRUTILS_NODE_WRAPPERS(CustomPapersNode, readCustomPapers, writeCustomPapers)
DRUTILS_NODE_WRAPPERS(CResolutionNode, readResolution, writeResolution)
#undef DRUTILS_NODE_WRAPPERS

// ------------------------------------------------------------------ media helpers

bool CMediaNode::setBounds(const ut::PrinterDeviceCaps& caps) {
    // Sums in double: driver-reported values are not trusted to stay small.
    const double offX = caps.physicalOffsetX, offY = caps.physicalOffsetY;
    const double w = caps.horzRes, h = caps.vertRes;
    if (caps.logPixelsX <= 0 || caps.logPixelsY <= 0 || w <= 0 || h <= 0 || offX < 0 || offY < 0 ||
        offX + w > caps.physicalWidth || offY + h > caps.physicalHeight)
        return false;
    const double mmX = 25.4 / caps.logPixelsX, mmY = 25.4 / caps.logPixelsY;
    // The device counts y from the top edge; the bounds count it from the bottom.
    actualPrintableBoundsLlx = offX * mmX;
    actualPrintableBoundsUrx = (offX + w) * mmX;
    actualPrintableBoundsLly = (caps.physicalHeight - offY - h) * mmY;
    actualPrintableBoundsUry = (caps.physicalHeight - offY) * mmY;
    return true;
}

bool CMediaNode::emptyBounds() const {
    return !(actualPrintableBoundsUrx > actualPrintableBoundsLlx &&
             actualPrintableBoundsUry > actualPrintableBoundsLly);
}

void CMediaNode::swapBounds() {
    std::swap(actualPrintableBoundsLlx, actualPrintableBoundsLly);
    std::swap(actualPrintableBoundsUrx, actualPrintableBoundsUry);
}

void CDestinationNode::setCollating(bool collate) {
    collatingType = collate ? 1 : 0;
    collatingName = collate ? L"Collate" : L"None";
}

bool CustomPapersNode::append(const PaperSize& paper) {
    if (papers.size() >= kMaxPapers)
        return false;
    papers.append(paper);
    return true;
}

bool CustomPapersNode::PaperSize::operator==(const PaperSize& b) const {
    const PaperSize& a = *this;
    return a.globalName == b.globalName && a.localName == b.localName && a.units == b.units && a.width == b.width &&
           a.height == b.height && a.left == b.left && a.bottom == b.bottom && a.right == b.right && a.top == b.top;
}

// ------------------------------------------------------------------ resolution

const wchar_t* CResolutionNode::qualityName(long code) {
    if (code < DMRES_HIGH || code > DMRES_DRAFT)
        return nullptr;
    return kQualityNames[-code - 1];
}

long CResolutionNode::qualityCode(const wchar_t* name) {
    if (!name)
        return 0;
    for (long code = DMRES_DRAFT; code >= DMRES_HIGH; --code)
        if (std::wcscmp(name, kQualityNames[-code - 1]) == 0)
            return code;
    return 0;
}

bool CResolutionNode::set(long resolution) {
    if (const wchar_t* q = qualityName(resolution)) {
        name = q;
        return true;
    }
    return set(resolution, resolution);
}

bool CResolutionNode::set(long x, long y) {
    if (x <= 0 || y <= 0)
        return false;
    name.format(L"%ldx%ld", x, y);
    physResolutionX = addrResolutionX = effectiveResolutionX = double(x);
    physResolutionY = addrResolutionY = effectiveResolutionY = double(y);
    return true;
}

long CResolutionNode::get(long* y) const {
    if (long code = qualityCode(name)) {
        if (y)
            *y = 0;
        return code;
    }
    long x = 0, yy = 0;
    if (std::swscanf(name.c_str(), L"%ldx%ld", &x, &yy) == 2 && x > 0 && yy > 0) {
        if (y)
            *y = yy;
        return x;
    }
    // A name of another form: the physical resolution is the best guess.
    auto dpi = [](double v) { return v >= 1.0 && v < 1e9 ? std::lround(v) : 0L; };
    if (y)
        *y = dpi(physResolutionY);
    return dpi(physResolutionX);
}

// ------------------------------------------------------------------ custom values

const wchar_t* const CCustomNode::kRawPrivateDeviceData = L"RawPrivateDeviceData";
const wchar_t* const CCustomNode::kDmSize = L"dmSize";
const wchar_t* const CCustomNode::kDmDriverExtra = L"dmDriverExtra";
const wchar_t* const CCustomNode::kDmSpecVersion = L"dmSpecVersion";
const wchar_t* const CCustomNode::kDmMediaType = L"dmMediaType";
const wchar_t* const CCustomNode::kDmDefaultSource = L"dmDefaultSource";
const wchar_t* const CCustomNode::kDmTTOption = L"dmTTOption";
const wchar_t* const CCustomNode::kPdfExport = L"PdfExport";
const wchar_t* const CCustomNode::kDmFields = L"dmFields";
const wchar_t* const CCustomNode::kDmDuplex = L"dmDuplex";
const wchar_t* const CCustomNode::kDmDitherType = L"dmDitherType";
const wchar_t* const CCustomNode::kDmNup = L"dmNup";

namespace {

template <class Map, class V> bool lookup(const Map& map, V& out, const wchar_t* name) {
    if (!name)
        return false;
    auto it = map.find(name);
    if (it == map.end())
        return false;
    out = it->second;
    return true;
}

} // namespace

bool CCustomNode::getStr(OdString& out, const wchar_t* name) const { return lookup(m_strings, out, name); }
bool CCustomNode::getBin(OdString& hexOut, const wchar_t* name) const { return lookup(m_binaries, hexOut, name); }
bool CCustomNode::get(bool& out, const wchar_t* name) const { return lookup(m_bools, out, name); }
bool CCustomNode::get(double& out, const wchar_t* name) const { return lookup(m_reals, out, name); }
bool CCustomNode::get(int& out, const wchar_t* name) const { return lookup(m_ints, out, name); }

template <class Map, class V> bool CCustomNode::store(Map& map, const V& value, const wchar_t* name, bool replace) {
    if (!name || !*name || !plotcfg::unstorableText(name).empty())
        return false;
    auto it = map.find(name);
    if (it != map.end()) {
        if (!replace)
            return false;
        it->second = value;
        return true;
    }
    if (count() >= kMaxValues)
        return false;
    map.emplace(OdString(name), value);
    return true;
}

bool CCustomNode::setStr(const wchar_t* value, const wchar_t* name, bool replace) {
    const OdString v(value);
    return plotcfg::unstorableText(v).empty() && store(m_strings, v, name, replace);
}

bool CCustomNode::setBin(const wchar_t* hexValue, const wchar_t* name, bool replace) {
    const OdString v(hexValue);
    return !v.isEmpty() && ut::isHexText(v) && store(m_binaries, v, name, replace);
}

bool CCustomNode::set(bool value, const wchar_t* name, bool replace) { return store(m_bools, value, name, replace); }

bool CCustomNode::set(double value, const wchar_t* name, bool replace) {
    return std::isfinite(value) && store(m_reals, value, name, replace);
}

bool CCustomNode::set(int value, const wchar_t* name, bool replace) { return store(m_ints, value, name, replace); }

bool CCustomNode::has(const wchar_t* name, EKind kind) const {
    if (!name)
        return false;
    switch (kind) {
    case kString: return m_strings.count(name) != 0;
    case kBinary: return m_binaries.count(name) != 0;
    case kBool: return m_bools.count(name) != 0;
    case kReal: return m_reals.count(name) != 0;
    case kInt: return m_ints.count(name) != 0;
    }
    return false;
}

bool CCustomNode::remove(const wchar_t* name, const EKind* kind) {
    if (!name)
        return false;
    const OdString key(name);
    size_t removed = 0;
    if (!kind || *kind == kString)
        removed += m_strings.erase(key);
    if (!kind || *kind == kBinary)
        removed += m_binaries.erase(key);
    if (!kind || *kind == kBool)
        removed += m_bools.erase(key);
    if (!kind || *kind == kReal)
        removed += m_reals.erase(key);
    if (!kind || *kind == kInt)
        removed += m_ints.erase(key);
    return removed != 0;
}

size_t CCustomNode::count() const {
    return m_strings.size() + m_binaries.size() + m_bools.size() + m_reals.size() + m_ints.size();
}

const wchar_t* CCustomNode::kindName(EKind kind) {
    switch (kind) {
    case kString: return L"string";
    case kBinary: return L"binary";
    case kBool: return L"bool";
    case kReal: return L"real";
    case kInt: return L"int";
    }
    return L"";
}
