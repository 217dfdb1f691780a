// The editors of the types whose dialogs are fully defined, one set per
// family: reader, filler and the description of what the view draws. Used
// through the table in editor.cpp.
#pragma once

#include <vector>

#include "components/editor.h"

namespace quelvari {

// Time component 'Z'.
int ReadTime(Form& form, ComponentRecord& r);
void FillTime(const ComponentRecord& r, Form& form);
void DescribeTime(const ComponentRecord& r, ComponentView& view);
std::vector<ControlSpec> TimeControls();

// Interrupt component 'I'.
int ReadInterrupt(Form& form, ComponentRecord& r);
void FillInterrupt(const ComponentRecord& r, Form& form);
void DescribeInterrupt(const ComponentRecord& r, ComponentView& view);
std::vector<ControlSpec> InterruptControls();

// Break component 'u'.
int ReadBreak(Form& form, ComponentRecord& r);
void FillBreak(const ComponentRecord& r, Form& form);
void DescribeBreak(const ComponentRecord& r, ComponentView& view);
std::vector<ControlSpec> BreakControls();

// Section component 'C'.
int ReadSection(Form& form, ComponentRecord& r);
void FillSection(const ComponentRecord& r, Form& form);
void DescribeSection(const ComponentRecord& r, ComponentView& view);
std::vector<ControlSpec> SectionControls();

// Module component 'U'.
int ReadModule(Form& form, ComponentRecord& r);
void FillModule(const ComponentRecord& r, Form& form);
void DescribeModule(const ComponentRecord& r, ComponentView& view);
std::vector<ControlSpec> ModuleControls();

// The generic editors' description: a summary of the stored payload.
void DescribeGeneric(const ComponentRecord& r, ComponentView& view);

}  // namespace quelvari
