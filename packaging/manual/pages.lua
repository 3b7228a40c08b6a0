-- Turns a page of docs/ into one that is read without the project: names of other pages become links, and the builder's
-- way of starting the tool (./dev run) becomes the user's.

local pages = {}
local omitted

local function page_of(text)
  return text:match("^docs/([%w-]+)%.md$") or text:match("^([%w-]+)%.md$")
end

-- A section goes with everything up to the next heading of its level or above.
local function without_omitted_sections(document)
  local kept, level = {}, nil
  for _, block in ipairs(document.blocks) do
    if block.t == "Header" and (not level or block.level <= level) then
      level = pandoc.utils.stringify(block.content) == omitted and block.level or nil
    end
    if not level then table.insert(kept, block) end
  end
  document.blocks = pandoc.Blocks(kept)
  return document
end

-- "docs/NAME.md" and "./dev run WORDS" in running text.
local function link_code(code)
  local words = code.text:match("^%./dev run(.*)$")
  if words then
    code.text = "VLCmd" .. words
    return code
  end
  local name = page_of(code.text)
  if not name then return nil end
  if pages[name] then return pandoc.Link({pandoc.Str(name)}, name .. ".html") end
  return pandoc.Str(name)
end

local function link_target(link)
  local target, anchor = link.target:match("^([^#]*)(#?.*)$")
  local name = page_of(target)
  if not name then return nil end
  if pages[name] then
    link.target = name .. ".html" .. anchor
    return link
  end
  return link.content
end

-- A word of a POSIX shell as Windows' command interpreter wants it.
local function unquote(word)
  if word:find(" ") then return '"' .. word .. '"' end
  return word
end

local function show_as_used(block)
  local text = block.text:gsub("([^\n]*)", function(line)
    local words = line:match("^%$ %./dev run (.*)$")
    if words then
      return "C:\\> VLCmd " .. words:gsub("'([^']*)'", unquote)
    end
    -- Where a checkout has the program, and where the installer puts it.
    line = line:gsub("^Z:\\home\\.*\\bin\\$", "C:\\Program Files\\Kestrane\\VLCmd\\")
    return (line:gsub("^VLCmd ended with ", "Exit code: "))
  end)
  block.text = text
  return block
end

return {
  {
    Meta = function(meta)
      for name in pandoc.utils.stringify(meta.pages):gmatch("%S+") do pages[name] = true end
      omitted = pandoc.utils.stringify(meta.omitted)
    end
  },
  {Pandoc = without_omitted_sections},
  {Code = link_code, Link = link_target, CodeBlock = show_as_used},
}
