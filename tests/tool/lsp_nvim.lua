-- Neovim, headless, as the client of rkdd lsp: run by lsp_test with the
-- schema as the file being edited; writes what it saw to RKDD_RESULT, one
-- fact a line, for the test to compare. Works with Neovim 0.7 and later.
local out = {}
local function log(line) table.insert(out, line) end
local function wait_for(done) return vim.wait(20000, done, 20) end
local function errors(buf) return #vim.diagnostic.get(buf, { severity = vim.diagnostic.severity.ERROR }) end
local function log_diagnostics(buf)
  for _, d in ipairs(vim.diagnostic.get(buf)) do
    log(string.format('diagnostic %d:%d %s', d.lnum + 1, d.col + 1, d.code))
  end
end

local function run()
  local v = vim.version()
  log(string.format('nvim %d.%d.%d', v.major, v.minor, v.patch))
  local buf = vim.api.nvim_get_current_buf()
  local client = vim.lsp.start_client({ name = 'rkdd', cmd = { os.getenv('RKDD_TOOL'), 'lsp' },
                                        root_dir = vim.fn.getcwd() })
  vim.lsp.buf_attach_client(buf, client)

  -- The mistake, where the editor shows it (with the library's note on the record).
  wait_for(function() return errors(buf) > 0 end)
  log_diagnostics(buf)

  -- Hover on the member Speed of struct Body (line 5, column 21).
  local params = { textDocument = vim.lsp.util.make_text_document_params(buf), position = { line = 4, character = 20 } }
  for _, answer in pairs(vim.lsp.buf_request_sync(buf, 'textDocument/hover', params, 10000) or {}) do
    log('hover ' .. answer.result.contents.value:gsub('\n+', ' | '))
  end

  -- Go to definition from there: the cursor moves to the dataDef's name.
  vim.api.nvim_win_set_cursor(0, { 5, 20 })
  vim.lsp.buf.definition()
  wait_for(function() return vim.api.nvim_win_get_cursor(0)[1] ~= 5 end)
  local cursor = vim.api.nvim_win_get_cursor(0)
  log(string.format('definition %d:%d', cursor[1], cursor[2] + 1))

  -- Mend the mistake: the diagnostic goes; add another: it comes at its place.
  vim.api.nvim_buf_set_text(buf, 1, 45, 1, 50, { 'LABEL' })
  wait_for(function() return errors(buf) == 0 end)
  log('mended ' .. errors(buf))
  vim.api.nvim_buf_set_lines(buf, -1, -1, false, { 'recordDef Bus { rktype_bead, Bodie };' })
  wait_for(function() return errors(buf) > 0 end)
  log_diagnostics(buf)
  vim.lsp.stop_client(client)
end

local ok, err = pcall(run)
if not ok then log('error ' .. tostring(err)) end
local file = io.open(os.getenv('RKDD_RESULT'), 'w')
file:write(table.concat(out, '\n') .. '\n')
file:close()
vim.cmd('qall!')
