{ Imports a type library: importtl LIBRARY UNIT.pas. The compiler's package for Windows brings this program along; here
  it is built from the unit that does the work. }
program importtl;

{$mode objfpc}{$H+}{$apptype console}

uses
  SysUtils, TypeLib;

begin
  try
    with TTypeLibImporter.Create(nil) do
    try
      InputFileName := WideString(ParamStr(1));
      OutputFileName := ParamStr(2);
      Execute;
    finally
      Free;
    end;
  except
    on error: Exception do
    begin
      WriteLn(StdErr, ParamStr(1), ' cannot be imported: ', error.Message);
      Halt(1);
    end;
  end;
end.
