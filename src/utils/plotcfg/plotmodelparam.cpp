// User-defined model files: the meta block of a printer configuration plus the
// plotter calibration, in the same container as a configuration.
#include "plotcfg/cfgschema.h"
#include "ut_log.h"

using plotcfg::BlockReader;
using plotcfg::BlockWriter;
using plotcfg::SchemaError;

namespace {

const char kSource[] = "src/utils/plot/plotmodelparam";

std::wstring quoted(const OdString& path) { return path.isEmpty() ? std::wstring() : L" '" + path.str() + L"'"; }

bool readCalibration(CalibrationNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err) {
    CalibrationNode n;
    BlockReader r(block, path, err);
    if (!(r.real(L"_x", n.x) && r.real(L"_y", n.y)))
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

bool writeCalibration(const CalibrationNode& n, CPBlock* block, const std::wstring& path, SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok = w.real(L"_x", n.x) && w.real(L"_y", n.y);
    if (ok)
        w.finish();
    return ok;
}

bool loadModel(PlotModelParam& pmp, const CPBlock* root, const OdString& source, const char* function) {
    if (!root) {
        ut::logError(kSource, function, L"Cannot read model file%ls: there is no parameter tree.",
                     quoted(source).c_str());
        return false;
    }
    SchemaError err;
    BlockReader r(root, std::wstring(), err);
    PlotModelParam n;
    const CPBlock* b = nullptr;
    const bool ok = (b = r.sub(L"meta", true)) && plotcfg::readNode(n.meta, b, L"meta", err) &&
                    (b = r.sub(L"udm", true)) && plotcfg::readNode(n.udm, b, L"udm", err);
    if (!ok) {
        ut::logError(kSource, function, L"Cannot read model file%ls: %ls.", quoted(source).c_str(),
                     err.message.c_str());
        return false;
    }
    r.keepForeign(n.foreign);
    pmp = std::move(n);
    return true;
}

bool buildRoot(const PlotModelParam& pmp, CPBlock& root, SchemaError& err) {
    BlockWriter w(&root, &pmp.foreign, std::wstring(), err);
    const bool ok =
        w.sub(L"meta", [&](CPBlock* b, const std::wstring& p) { return plotcfg::writeNode(pmp.meta, b, p, err); }) &&
        w.sub(L"udm", [&](CPBlock* b, const std::wstring& p) { return plotcfg::writeNode(pmp.udm, b, p, err); });
    if (ok)
        w.finish();
    return ok;
}

} // namespace

namespace plotcfg {

bool readNode(UdmNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err) {
    UdmNode n;
    BlockReader r(block, path, err);
    const CPBlock* c = r.sub(L"calibration", true);
    if (!c || !readCalibration(n.calibration, c, joinPath(path, L"calibration"), err))
        return false;
    r.keepForeign(n.foreign);
    node = std::move(n);
    return true;
}

bool writeNode(const UdmNode& n, CPBlock* block, const std::wstring& path, SchemaError& err) {
    BlockWriter w(block, &n.foreign, path, err);
    const bool ok = w.sub(L"calibration", [&](CPBlock* b, const std::wstring& p) {
        return writeCalibration(n.calibration, b, p, err);
    });
    if (ok)
        w.finish();
    return ok;
}

} // namespace plotcfg

bool CalibrationNode::init(const CPBlock* block) {
    SchemaError err;
    return block && readCalibration(*this, block, block->name().str(), err);
}

bool CalibrationNode::write(CPBlock* block) const {
    SchemaError err;
    return block && writeCalibration(*this, block, block->name().str(), err);
}

bool UdmNode::init(const CPBlock* block) {
    SchemaError err;
    return block && plotcfg::readNode(*this, block, block->name().str(), err);
}

bool UdmNode::write(CPBlock* block) const {
    SchemaError err;
    return block && plotcfg::writeNode(*this, block, block->name().str(), err);
}

PlotModelParam* PlotModelParam::create(const CMetaNode& meta) {
    auto* pmp = new PlotModelParam;
    pmp->meta = meta;
    return pmp;
}

PlotModelParam* PlotModelParam::read(const wchar_t* path) {
    const OdString file(path);
    CPIAParser parser;
    if (!parser.parse(file.c_str())) {
        plotcfg::logParseFailure(parser, L"model file", file, kSource, "PlotModelParam::read");
        return nullptr;
    }
    auto* pmp = new PlotModelParam;
    if (!loadModel(*pmp, parser.root(), file, "PlotModelParam::read")) {
        delete pmp;
        return nullptr;
    }
    return pmp;
}

bool PlotModelParam::init(const CPIAParser& parser) {
    return loadModel(*this, parser.root(), OdString(), "PlotModelParam::init");
}

bool PlotModelParam::init(const CPBlock* root) { return loadModel(*this, root, OdString(), "PlotModelParam::init"); }

bool PlotModelParam::writeToBlock(CPBlock* root) const {
    if (!root)
        return false;
    SchemaError err;
    CPBlock scratch(L"");
    if (!buildRoot(*this, scratch, err)) {
        ut::logError(kSource, "PlotModelParam::writeToBlock", L"Cannot write model file: %ls.", err.message.c_str());
        return false;
    }
    for (const CPItem* item : scratch.items())
        if (root->find(item->name().c_str(), item->kind())) {
            ut::logError(kSource, "PlotModelParam::writeToBlock",
                         L"Cannot write model file: the target already holds '%ls'.", item->name().c_str());
            return false;
        }
    for (const CPItem* item : scratch.items())
        root->add(CPForeignItems::clone(*item));
    return true;
}

int PlotModelParam::write(const wchar_t* path) const {
    const OdString file(path);
    SchemaError err;
    CPBlock root(L"");
    if (!buildRoot(*this, root, err)) {
        ut::logError(kSource, "PlotModelParam::write", L"Cannot write model file '%ls': %ls.", file.c_str(),
                     err.message.c_str());
        return -2;
    }
    OdString why;
    const int rc = plotcfg::writeContainer(root, file.c_str(), why);
    if (rc != 0)
        ut::logError(kSource, "PlotModelParam::write", L"Cannot write model file '%ls': %ls.", file.c_str(),
                     why.c_str());
    return rc;
}
